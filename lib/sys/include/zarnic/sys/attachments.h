// What can be attached to a runner: where a child's standard streams lead.
//
//   TExec(args).fromText("3").toFile("/tmp/errors").run();
//
// Without fork_mode (exec.h) attachments do nothing: they act in a forked child only. The
// program then has the streams of the process that it replaces.

#pragma once

#include <string>

#include "zarnic/sys/preparers.h"

namespace zarnic::sys {

// What becomes of a file that is there: it is emptied first, or kept and added to.
enum class TWriting { truncate, append };

// The attachments, the same for one runner (TExec) and for a pipeline (TExecList), where they
// apply to the last program. Each returns a copy with one more preparer, whose hooks run after
// those of the earlier ones, and leaves this runner as it was. Throws std::bad_alloc.
template <class Runner>
class TAttachments {
  public:
    // Standard output to a file, created with 0664 less the umask (open(2)) and truncated.
    [[nodiscard]] Runner toFile(const std::string& path) const {
        return attach(new TToFile(path, false));
    }

    // The same, but what the file holds is kept and added to.
    [[nodiscard]] Runner appendToFile(const std::string& path) const {
        return attach(new TToFile(path, true));
    }

    // Any descriptor to a file, as toFile, or as appendToFile with `append`. A bare `true` says
    // little where it is read; TWriting::append says it.
    [[nodiscard]] Runner redirectToFile(int descriptor, const std::string& path,
                                        bool append) const {
        return attach(new TRedirectToFile(descriptor, path, append));
    }
    [[nodiscard]] Runner redirectToFile(int descriptor, const std::string& path,
                                        TWriting writing) const {
        return redirectToFile(descriptor, path, writing == TWriting::append);
    }

    // The descriptor `target` becomes a copy of `source`, as the shell's target>&source.
    [[nodiscard]] Runner redirect(int target, int source) const {
        return attach(new TRedirect(target, source));
    }

    // Standard input from a file.
    [[nodiscard]] Runner fromFile(const std::string& path) const {
        return attach(new TFromFile(path));
    }

    // Standard input from a text, byte for byte. Flush stdout and stdin before the run
    // (preparers.h).
    [[nodiscard]] Runner fromText(const std::string& text) const {
        return attach(new TReadFromStr(text));
    }

  private:
    // Runner must derive from this class: attach() casts to it.
    friend Runner;
    TAttachments() = default;

    Runner attach(TPrepare* prepare) const {
        return static_cast<const Runner&>(*this).with(Preparer(prepare));
    }
};

}  // namespace zarnic::sys
