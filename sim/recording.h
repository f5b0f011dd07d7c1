#ifndef ZULSTATS_SIM_RECORDING_H
#define ZULSTATS_SIM_RECORDING_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "bytes.h"

// A recording is a text file of one JSON object a line. The first line says what it is and where it comes from:
//
//     {"recording":"gatewaysim","format":1,"gateway":"gateway-one:2980","started":"2024-05-06T07:08:09.123Z"}
//
// and every other line is one exchange, in the order in which they ended:
//
//     {"connection":1,"asks":"handshake","milliseconds":2,"end":"none","endMilliseconds":0,"request":"4761...",
//      "reply":"4761..."}
namespace gatewaysim {

enum class Ending {
    none,    // the connection went on, or the client ended it
    closed,  // the gateway ended it behind the reply
    reset,   // the gateway reset it
    stopped  // the recording stopped before the reply was whole
};

struct RecordedExchange {
    uint64_t connection;   // counted from 1
    int64_t milliseconds;  // from the end of the request to that of the reply
    Ending ending;
    int64_t endMilliseconds;  // from the end of the reply to that of the connection
    Bytes request;            // empty: the gateway spoke unasked
    Bytes reply;
};

// What an exchange asks for, in the words of the log; "accept" for one without a request. A request that departs from
// the protocol is named so.
std::string titleOf(const RecordedExchange& exchange);

// Whether the reply is as long as its own header says.
bool isWhole(const RecordedExchange& exchange);

// Writes a new file. Every exchange is in the file when the call that writes it returns.
class RecordingWriter {
  public:
    // Throws BadRecording where the file cannot be made; none is left behind. The first exchange that cannot be written
    // calls `onFailure` with the reason, on the thread that wrote it; those after it are given up.
    RecordingWriter(const std::string& path, const std::string& gateway,
                    std::function<void(const std::string& reason)> onFailure);

    // On any thread.
    void write(const RecordedExchange& exchange);

    size_t exchanges() const;
    bool hasFailed() const;

  private:
    struct FileCloser {
        void operator()(std::FILE* file) const noexcept {
            std::fclose(file);
        }
    };

    bool writeText(const std::string& text);
    bool writeHex(const Bytes& bytes);
    bool writeExchange(const RecordedExchange& exchange);

    const std::unique_ptr<std::FILE, FileCloser> file_;
    const std::function<void(const std::string& reason)> onFailure_;
    mutable std::mutex mutex_;
    size_t exchanges_ = 0;
    bool hasFailed_ = false;
};

class BadRecording : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Several recordings may stand in one file, one behind the other: the connections of the later ones are counted on.
// Throws BadRecording, which names the line.
std::vector<RecordedExchange> readRecording(const std::string& path);

}  // namespace gatewaysim

#endif
