#ifndef ZULSTATS_SIM_OUTPUT_H
#define ZULSTATS_SIM_OUTPUT_H

#include <string>

namespace gatewaysim {

// Writes to standard output at once, and throws where a part of the text is lost: whoever waits for it would wait in
// vain.
void print(const std::string& text);

}  // namespace gatewaysim

#endif
