// Copying of short texts: ids, values, the pieces of a trace line. A call of the C library for each would take as long
// as all the rest that is done with it.
#ifndef ZULSTATS_DIAG_SHORT_COPY_H
#define ZULSTATS_DIAG_SHORT_COPY_H

#include <cstddef>
#include <cstring>

namespace stapi {

// Copies two pieces of known size, which overlap unless they have count bytes together: the first bytes and the last.
template <size_t size>
void copyBothEnds(char* target, const char* source, size_t count) {
    std::memcpy(target, source, size);
    std::memcpy(target + count - size, source + count - size, size);
}

// Copies bytes that are not many, as a rule.
inline void copyShort(char* target, const char* source, size_t count) {
    if (count > 32) {
        std::memcpy(target, source, count);
    } else if (count >= 16) {
        copyBothEnds<16>(target, source, count);
    } else if (count >= 8) {
        copyBothEnds<8>(target, source, count);
    } else if (count >= 4) {
        copyBothEnds<4>(target, source, count);
    } else if (count >= 2) {
        copyBothEnds<2>(target, source, count);
    } else if (count == 1) {
        *target = *source;
    }
}

}  // namespace stapi

#endif
