// A tool that converts numbers with Boost itself, by the global locale.

#include <zarnic/sys/output.h>

#include <boost/lexical_cast.hpp>
#include <cstdio>
#include <locale>

struct Grouped : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
};

int main() {
    using namespace zarnic::sys;
    std::locale::global(std::locale(std::locale(), new Grouped));
    std::puts(boost::lexical_cast<std::string>(42).c_str());
    try {
        std::string text;
        checkedOutput(text, TExec(TEArgs(el) << "sh"
                                             << "-c"
                                             << "exit 42"));
    } catch (const std::exception& error) {
        std::puts(error.what());
    }
}
