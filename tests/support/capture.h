// Runs a function in a forked child and tells how the child ended and what it wrote. For code
// that ends its process, aborts, changes descriptors, or writes to the standard streams.

#pragma once

#include <functional>
#include <string>

namespace test {

// How a child ended, and everything that it and its own children wrote.
struct Captured {
    int status;  // raw wait status
    std::string out;
    std::string err;

    bool exited(int code) const;
    bool signalled(int signal) const;
};

// Runs `body` in a child whose standard output and error are captured. The child exits with 0
// when `body` returns, through exit, and with 99 when it throws. Returns when the child has
// ended and nobody holds its streams any more; a child that takes longer than `seconds` is
// killed and shows as signalled.
Captured inChild(const std::function<void()>& body, int seconds = 20);

// The open descriptors of this process, as "N -> TARGET" lines.
std::string openDescriptors();

// A file's whole content; empty when it cannot be read.
std::string readFile(const std::string& path);

// Replaces a file's content. Ends the test program when it cannot.
void writeFile(const std::string& path, const std::string& content);

// A directory of its own for one test, removed with all its content at the end.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The path of a name in it.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace test
