#include "tests/unit/conf/streams.h"

#include <sys/types.h>

#include <cstdlib>

namespace test {

Streams::Streams()
    : out_buffer_(1U << 16U),
      err_buffer_(1U << 16U),
      real_out_(stdout),
      real_err_(stderr),
      out_(open(&out_side_, out_buffer_)),
      err_(open(&err_side_, err_buffer_)) {
    stdout = out_;
    stderr = err_;
}

Streams::~Streams() {
    stdout = real_out_;
    stderr = real_err_;
    std::fclose(out_);
    std::fclose(err_);
}

ssize_t Streams::write(void* side, const char* text, size_t length) {
    const auto* const to = static_cast<const Side*>(side);
    to->log->append(to->mark).append(text, length);
    return static_cast<ssize_t>(length);
}

// The C library takes a size for a buffer only together with the buffer.
FILE* Streams::open(Side* side, std::vector<char>& buffer) {
    FILE* const stream = ::fopencookie(side, "w", {nullptr, write, nullptr, nullptr});
    if (stream == nullptr) {
        std::abort();
    }
    std::setvbuf(stream, buffer.data(), _IOFBF, buffer.size());
    return stream;
}

}  // namespace test
