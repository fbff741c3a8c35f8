// Prints what the product's reader makes of the panel's configuration:
//   panel_file read FILE       every name and value of a file
//   panel_file see NAME...     each variable, as programs see it: from the panel's file, or its
//                              default
// Names and values end with a NUL byte each, since values may hold line feeds.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zarnic/conf/autoprepend.h"
#include "zarnic/conf/read_configuration.h"

namespace {

void print(const char* name, const char* value) {
    std::printf("%s%c%s%c", name, '\0', value, '\0');
}

int read(const char* file) {
    auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
    if (table == nullptr || conf_read_file_r(file, table) != 0) {
        return 1;
    }
    for (std::uint64_t i = 0; i < table->nmemb; ++i) {
        print(table->data[i].name, table->data[i].value);
    }
    conf_free_r(table);
    return 0;
}

int see(char** names) {
    for (; *names != nullptr; ++names) {
        const char* const value = zrcConfGetDefault(*names);
        if (value == nullptr) {
            return 1;
        }
        print(*names, value);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "read") == 0) {
        return read(argv[2]);
    }
    return argc > 2 && std::strcmp(argv[1], "see") == 0 ? see(argv + 2) : 2;
}
