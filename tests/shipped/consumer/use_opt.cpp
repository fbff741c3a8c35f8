#include <zarnic/opt/parsing.h>

#include <cstdio>

int main() {
    const char* const words[] = {"tool", "--file=/etc/hosts"};
    zarnic::opt::TOParsing parser(words, 2);
    std::string file;
    parser.lopt("file", zarnic::opt::req_arg) >> file;
    parser.check();
    std::puts(file.c_str());
}
