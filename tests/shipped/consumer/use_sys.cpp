#include <zarnic/sys/exec.h>
#include <zarnic/sys/output.h>

#include <cstdio>

int main() {
    using namespace zarnic::sys;
    std::string text;
    checkedOutput(text, TExec(TEArgs(el) << "echo"
                                         << "two words"));
    std::fputs(text.c_str(), stdout);
}
