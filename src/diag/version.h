// The versions of everything that is built, in their one place: the build reads them from here.
#ifndef ZULSTATS_DIAG_VERSION_H
#define ZULSTATS_DIAG_VERSION_H

// Four numbers. The first three are the version of the package and of the programs.
#define ZULSTATS_PRODUCT_VERSION "10.1.0.0"
// Four numbers: the first three are the shared library's version, the first is that of its binary interface.
#define ZULSTATS_API_VERSION "1_1_0_1"
#define ZULSTATS_BUILD_LEVEL "d1010-20250408-1235"

#endif
