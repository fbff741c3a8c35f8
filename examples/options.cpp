// Options with required and optional values, and the final check:
//     options --user=NAME [--shell=PATH] [--color[=WHEN]] [-v]

#include <zarnic/opt/parsing.h>

#include <cstdio>
#include <string>

using namespace zarnic::opt;

int main(int argc, char** argv) {
    try {
        TOParsing parser(argv, argc);

        // Required: without it, or without a value, the statement throws.
        std::string user;
        parser.lopt("user", req_arg) >> user;

        // Optional: the default stays.
        std::string shell = "/bin/sh";
        parser.optionalLong("shell", req_arg) >> shell;

        // Optional, and so is its value: --color alone leaves an empty text.
        std::string color = "never";
        parser.optionalLong("color", opt_arg) >> color;

        const bool verbose{parser.optionalShort('v')};

        // What nobody asked for throws here.
        parser.check();

        std::printf("user %s, shell %s, color %s\n", user.c_str(), shell.c_str(),
                    color.empty() ? "always" : color.c_str());
        if (verbose) {
            std::printf("%zu arguments\n", parser.options().arguments().size());
        }
        return 0;
    } catch (const zarnic::TError& error) {
        std::printf("%s\n", error.message().c_str());
        return 1;
    }
}
