// A request and the header and body of its reply. Behind the circumstances one byte chooses what is asked, one the size
// of the request; the rest is what the daemon sends.
#include "comms/stapi_zul_socketcomms.h"
#include "diag/heap_blocks.h"
#include "target_list.h"
#include "world.h"

namespace fuzz_test {

namespace {

// The result of a flow: what it holds, and that what did not arrive is zero.
int judgeHeldBlock(const uint8_t* data, const stapi::HeaderRecord& header, size_t requestSize) {
    const stapi::HeldBlock held = stapi::heldBlock(data, header, requestSize);
    touch(held.bytes, held.size);
    require(held.arrived <= held.size, "a flow holds more than it has room for");
    require(isZero(held.bytes + held.arrived, held.size - held.arrived), "what did not arrive is not zero");
    const bool hasBody = static_cast<int32_t>(header.dataLength) > 0;
    return hasBody ? 2 : 1;
}

int fuzzPlainFlow(const char* name, size_t requestSize) {
    auto* data = static_cast<uint8_t*>(stapi::allocateMemory(requestSize));
    if (data == nullptr) {
        return 0;
    }
    stapi::HeaderRecord header = {};
    stapi::ReasonsBlock reasons = {};
    const int32_t rc = stapi::flow(kSocket, static_cast<int32_t>(requestSize), &data, name, &header, &reasons);
    const stapi::MemoryHolder<uint8_t> holder(data);
    require(rc != 0 || data != nullptr, "a flow that went well holds nothing");
    require(reasons.gwyRc == 0 || rc == reasons.gwyRc, "a reply's return code is not the flow's");
    return rc == 0 ? judgeHeldBlock(data, header, requestSize) : 0;
}

// A reader behind a block of any size, and a record at the very end of its own block.
int fuzzHeaderAlone(const ExactBlock& block) {
    const auto header = std::make_unique<stapi::HeaderRecord>();
    stapi::populateHeader(block.data(), header.get(), block.size());
    touch(header.get(), sizeof *header);
    return 0;
}

int fuzzReading(const ExactBlock& stream, size_t wanted) {
    const size_t size = wanted == 0 ? stream.size() + 1 : wanted;
    const auto target = std::make_unique<uint8_t[]>(size);
    int32_t arrived = 0;
    stapi::readFromSocket(kSocket, static_cast<int32_t>(size), target.get(), &arrived);
    require(arrived >= 0 && static_cast<size_t>(arrived) <= size, "more bytes arrived than there was room for");
    require(isZero(target.get() + arrived, size - static_cast<size_t>(arrived)), "what did not arrive is not zero");
    return 0;
}

}  // namespace

int fuzzFlow(const uint8_t* data, size_t size) {
    static constexpr const char* kNames[] = {"BASE", "Admin", "A program's name of more characters than fit", ""};
    FuzzInput input(data, size);
    World world(&input);
    const uint8_t choice = input.next();
    const size_t number = input.next();
    const ExactBlock stream(input.rest(), input.restSize());
    world.serve(stream);
    stapi::ReasonsBlock reasons = {};
    switch (choice % 8) {
        case 0:
            return stapi::flowHandshakeRequest(kSocket, &reasons) == 0 ? 1 : 0;
        case 1:
            return stapi::flowCloseRequest(kSocket, &reasons) == 0 ? 1 : 0;
        case 2:
            return fuzzHeaderAlone(stream);
        case 3:
            return fuzzReading(stream, number);
        default:
            return fuzzPlainFlow(kNames[choice % 4], number + 1);
    }
}

}  // namespace fuzz_test
