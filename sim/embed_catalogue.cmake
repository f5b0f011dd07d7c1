# Writes the bytes of INPUT as an array, with a FUNCTION that gives them, into the C++ file OUTPUT. An array and no literal: some compilers bound literals.
file(READ ${INPUT} bytes HEX)
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(WRITE ${OUTPUT} "#include \"catalogue.h\"

namespace gatewaysim {

namespace {

constexpr unsigned char kBytes[] = {
${bytes}
};

}  // namespace

std::string ${FUNCTION}() {
    return {reinterpret_cast<const char*>(kBytes), sizeof kBytes};
}

}  // namespace gatewaysim
")
