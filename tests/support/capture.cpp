#include "tests/support/capture.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace test {

namespace {

// Unlinked files, not pipes: whoever still holds one at the end cannot block the test.
int scratchFile() {
    char name[] = "/tmp/captureXXXXXX";
    const int file = ::mkstemp(name);
    if (file < 0) {
        std::perror("mkstemp");
        std::abort();
    }
    ::unlink(name);
    return file;
}

std::string readWhole(int file) {
    std::string text;
    char chunk[4096];
    ::lseek(file, 0, SEEK_SET);
    for (ssize_t length = 0; (length = ::read(file, chunk, sizeof chunk)) > 0;) {
        text.append(chunk, static_cast<std::size_t>(length));
    }
    ::close(file);
    return text;
}

[[noreturn]] void runChild(const std::function<void()>& body, int out, int err, int seconds) {
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::close(out);
    ::close(err);
    ::alarm(static_cast<unsigned>(seconds));
    try {
        body();
    } catch (...) {
        std::_Exit(99);
    }
    std::exit(0);
}

}  // namespace

bool Captured::exited(int code) const {
    return WIFEXITED(status) && WEXITSTATUS(status) == code;
}

bool Captured::signalled(int signal) const {
    return WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

Captured inChild(const std::function<void()>& body, int seconds) {
    const int out = scratchFile();
    const int err = scratchFile();
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid < 0) {
        std::perror("fork");
        std::abort();
    }
    if (pid == 0) {
        runChild(body, out, err, seconds);
    }
    Captured captured{};
    while (::waitpid(pid, &captured.status, 0) < 0) {}
    captured.out = readWhole(out);
    captured.err = readWhole(err);
    return captured;
}

std::string openDescriptors() {
    std::ostringstream list;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) >= 0) {
            std::error_code error;
            const auto link = "/proc/self/fd/" + std::to_string(descriptor);
            list << descriptor << " -> " << std::filesystem::read_symlink(link, error).string()
                 << '\n';
        }
    }
    return list.str();
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::abort();
    }
}

TempDir::TempDir() {
    char name[] = "/tmp/testXXXXXX";
    if (::mkdtemp(name) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace test
