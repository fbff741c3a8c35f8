#include "zarnic/sys/output.h"

#include <unistd.h>

// A number in a message takes on nothing of the locale's, such as its thousands separators.
#define BOOST_LEXICAL_CAST_ASSUME_C_LOCALE
#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "zarnic/sys/preparers.h"
#include "zarnic/sys/wait.h"

namespace zarnic::sys {

namespace {

constexpr std::size_t chunk_size = 1024;

// A text of this source alone. The macro above changes Boost's templates. Were one of them made
// for std::string here, a caller's own conversion to std::string would be a second definition
// of it, and the linker would keep either.
struct OwnTraits : std::char_traits<char> {};
using NumberText = std::basic_string<char, OwnTraits>;

// Deliberately no retry: an interrupted read ends the text as an end of file does.
void readAll(std::string& out, int descriptor) {
    char chunk[chunk_size];
    for (;;) {
        const ssize_t length = ::read(descriptor, chunk, sizeof chunk);
        if (length <= 0) {
            return;
        }
        out.append(chunk, static_cast<std::size_t>(length));
    }
}

[[noreturn]] void childFailed(const char* what, int number, const std::string& out) {
    const auto text = boost::lexical_cast<NumberText>(number);
    throw std::runtime_error(std::string("child failed (") + what + "=" +
                             std::string(text.begin(), text.end()) + "): " + out);
}

}  // namespace

void readOutput(std::string& out, int& status, const TExecList& list) {
    if (list.programs().empty()) {
        return;
    }
    // The capture belongs to the handle; this pointer is valid as long as `running`. Attached
    // last, it has the last word on a failed fork or exec.
    auto* const capture = new TReadOut;
    TExecList running = list.with(Preparer(capture));
    // No program is waited for before its output is read: one that fills its pipe would never
    // end. The modes are those of copies; the caller's runners keep theirs.
    for (TExec& program : running.programs()) {
        program.setMode(program.mode() & mode_mask & ~wait_mode);
    }
    const TExecResult last = runList(running);
    // Only now: when nothing could be started, the caller keeps its text.
    out.clear();
    readAll(out, capture->readEnd());
    // The read end is deliberately left open: the preparer does not know when it was read.
    status = waitChild(last.pid);
}

void checkedOutput(std::string& out, const TExecList& list) {
    int status = 0;
    readOutput(out, status, list);
    if (!exitedNormally(status)) {
        childFailed("status", status, out);
    }
    if (exitCode(status) != 0) {
        childFailed("exit code", exitCode(status), out);
    }
}

void checkedOutput(std::string& out, const TExec& program) {
    checkedOutput(out, TExecList(program));
}

}  // namespace zarnic::sys
