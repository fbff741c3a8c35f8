// Records what goes out of the standard streams, in the order in which it leaves them, so that
// a test sees which stream comes first and what is flushed when.

#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace test {

// While one lives, stdout and stderr are recorders with a full buffer each: a text is seen when
// its stream is flushed.
class Streams {
  public:
    Streams();
    ~Streams();
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    // Each flushed text behind "out:" or "err:"; what is still in a buffer is not part of it.
    const std::string& flushed() const { return log_; }

  private:
    struct Side {
        const char* mark;
        std::string* log;
    };
    static ssize_t write(void* side, const char* text, size_t length);
    static FILE* open(Side* side, std::vector<char>& buffer);

    std::string log_;
    std::vector<char> out_buffer_;
    std::vector<char> err_buffer_;
    Side out_side_{"out:", &log_};
    Side err_side_{"err:", &log_};
    FILE* real_out_;
    FILE* real_err_;
    FILE* out_;
    FILE* err_;
};

}  // namespace test
