#include "output.h"

#include <cstdio>
#include <stdexcept>

namespace gatewaysim {

void print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw std::runtime_error("the output cannot be written: look whether the disk is full");
    }
}

}  // namespace gatewaysim
