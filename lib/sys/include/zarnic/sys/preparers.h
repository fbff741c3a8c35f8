// The library's preparers: redirections, pipes and texts for a child's standard streams. Most
// callers attach them by the named operations of attachments.h.
//
// Deliberately, the results of open, close and dup2 in the child are never tested: when a file
// cannot be opened, the child runs with that stream closed. So it does when the caller had
// closed the stream already: the order of the calls is fixed. Only a failing pipe or fork is
// raised, as TSysCallErr, in the process in which it fails.

#pragma once

#include <string>

#include "zarnic/sys/pipe.h"
#include "zarnic/sys/prepare.h"

namespace zarnic::sys {

// The reading side of a pipeline's pipe. The parent closes both ends after the fork.
class TReadFromPipeline : public TPrepare {
  public:
    // Shares the pipe with the writing side. Never throws.
    explicit TReadFromPipeline(const SharedHandle<TPipe>& pipe) : pipe_(pipe) {}

    void inParent(TExec& exec) override;
    void inChild(TExec& exec) override;

  private:
    SharedHandle<TPipe> pipe_;
};

// The writing side, run first. It makes the pipe; the parent keeps both ends open for the
// reader to inherit.
class TWriteToPipeline : public TPrepare {
  public:
    // Shares the pipe with the reading side. Never throws.
    explicit TWriteToPipeline(const SharedHandle<TPipe>& pipe) : pipe_(pipe) {}

    void beforeFork(TExec& exec) override;
    void inChild(TExec& exec) override;

  private:
    SharedHandle<TPipe> pipe_;
};

// Captures the child's standard output. The preparer never closes the read end, not even in its
// destructor: unless the caller closes it, it stays open until the process ends.
class TReadOut : public TPrepare {
  public:
    void beforeFork(TExec& exec) override;
    void inParent(TExec& exec) override;
    void inChild(TExec& exec) override;

    // Where the output of the latest run can be read; 0 before the first run.
    int readEnd() const noexcept { return pipe_.readEnd; }

  private:
    TPipe pipe_;
};

// Feeds a text to the child's standard input, through a writer process that the child forks and
// that nobody waits for. The writer ignores SIGPIPE: the program need not read the text. It is
// a copy of the caller, writes by stdio and ends by exit:
// - Flush stdout before the run, or what its buffer holds goes into the text first.
// - Call fflush(stdin) before the run when the caller reads its input by stdio. Otherwise exit
//   sets the position of a file back by what stdio has read ahead, and it is read twice.
class TReadFromStr : public TPrepare {
  public:
    // Copies the text. Throws std::bad_alloc.
    explicit TReadFromStr(const std::string& text) : text_(text) {}

    void inChild(TExec& exec) override;

  private:
    std::string text_;
};

// Any descriptor to a file, created with mode 0664 less the umask (open(2)).
class TRedirectToFile : public TPrepare {
  public:
    // Copies the path. Appends to the file, or truncates it. Throws std::bad_alloc.
    TRedirectToFile(int descriptor, const std::string& path, bool append)
        : descriptor_(descriptor), path_(path), append_(append) {}

    void inChild(TExec& exec) override;

  private:
    int descriptor_;
    std::string path_;
    bool append_;
};

// The target descriptor becomes a copy of the source, which stays open. The target is closed
// first, so a descriptor that is redirected to itself ends up closed.
class TRedirect : public TPrepare {
  public:
    // Two descriptor numbers. Never throws.
    TRedirect(int target, int source) : target_(target), source_(source) {}

    void inChild(TExec& exec) override;

  private:
    int target_;
    int source_;
};

// Standard output to a file, as TRedirectToFile.
class TToFile : public TPrepare {
  public:
    // Copies the path. Appends to the file, or truncates it. Throws std::bad_alloc.
    TToFile(const std::string& path, bool append) : path_(path), append_(append) {}

    void inChild(TExec& exec) override;

  private:
    std::string path_;
    bool append_;
};

// Standard input from a file.
class TFromFile : public TPrepare {
  public:
    // Copies the path. Throws std::bad_alloc.
    explicit TFromFile(const std::string& path) : path_(path) {}

    void inChild(TExec& exec) override;

  private:
    std::string path_;
};

// Two preparers as one: each hook calls the first, then the second; either may be empty.
class TUnionPrep : public TPrepare {
  public:
    // Shares both. Never throws.
    TUnionPrep(const Preparer& first, const Preparer& second)
        : first_(first), second_(second) {}

    void beforeFork(TExec& exec) override;

    // The two bool hooks return the second's answer, or true when there is no second. The
    // first's answer is deliberately ignored: the latest attachment decides alone.
    bool forkFailed(TExec& exec) override;
    void inParent(TExec& exec) override;
    void inChild(TExec& exec) override;
    void beforeExec(TExec& exec) override;
    bool execFailed(TExec& exec) override;

  private:
    void callBoth(void (TPrepare::*hook)(TExec&), TExec& exec);
    bool askBoth(bool (TPrepare::*hook)(TExec&), TExec& exec);

    Preparer first_;
    Preparer second_;
};

}  // namespace zarnic::sys
