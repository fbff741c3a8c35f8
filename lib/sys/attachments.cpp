#include "zarnic/sys/exec.h"
#include "zarnic/sys/exec_list.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {

namespace {

template <class Runner>
Runner attach(const TAttachments<Runner>& attachments, TExec::TPrepare* prepare) {
    return static_cast<const Runner&>(attachments).with(TExec::Preparer(prepare));
}

}  // namespace

template <class Runner>
Runner TAttachments<Runner>::toFile(const std::string& path) const {
    return attach(*this, new TToFile(path, false));
}

template <class Runner>
Runner TAttachments<Runner>::appendToFile(const std::string& path) const {
    return attach(*this, new TToFile(path, true));
}

template <class Runner>
Runner TAttachments<Runner>::redirectToFile(int descriptor, const std::string& path,
                                            bool append) const {
    return attach(*this, new TRedirectToFile(descriptor, path, append));
}

template <class Runner>
Runner TAttachments<Runner>::redirect(int target, int source) const {
    return attach(*this, new TRedirect(target, source));
}

template <class Runner>
Runner TAttachments<Runner>::fromFile(const std::string& path) const {
    return attach(*this, new TFromFile(path));
}

template <class Runner>
Runner TAttachments<Runner>::fromText(const std::string& text) const {
    return attach(*this, new TReadFromStr(text));
}

template class TAttachments<TExec>;
template class TAttachments<TExecList>;

TExec TExec::with(const Preparer& prepare) const {
    TExec copy(*this);
    copy.prepare_ =
        prepare_.get() == nullptr ? prepare : Preparer(new TUnionPrep(prepare_, prepare));
    return copy;
}

TExecList TExecList::with(const TExec::Preparer& prepare) const {
    TExecList copy(*this);
    if (!copy.programs_.empty()) {
        copy.programs_.back() = copy.programs_.back().with(prepare);
    }
    return copy;
}

}  // namespace zarnic::sys
