#include <zarnic/opt/parsing.h>

#include <cstdio>

int main() {
    const char* const words[] = {"tool", "--file=/etc/hosts"};
    zarnic::opt::TOParsing parser(words, 2);
    const bool found = parser.lopt("file", zarnic::opt::req_arg);
    if (found)
        parser.lopt("file", zarnic::opt::req_arg);  // as a statement it requires the option
    std::string file;
    parser.lopt("file", zarnic::opt::req_arg) >> file;
    parser.check();
    std::puts(file.c_str());
}
