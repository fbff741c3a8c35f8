// The configuration reader against the model. An input is the content of a file. At a byte 1
// the next file begins, which is read into the same table; at a byte 2 the file ends by a read
// error and the next one begins. Afterwards each pair is added the other way round, so that a
// table is looked up before it is sorted again, too.
//
// The files are only in this process: system calls would take most of the time. The reader's
// fopen is linked to the one below for that.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/fuzz/input.h"
#include "tests/models/configuration_shown.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using fuzz::same;

struct File {
    std::string content;
    bool fails;  // at its end
};

// What the next fopen opens.
File* opened = nullptr;
std::size_t read_up_to = 0;

ssize_t readOpened(void* /*cookie*/, char* target, std::size_t size) {
    const std::size_t length = opened->content.copy(target, size, read_up_to);
    read_up_to += length;
    if (length == 0 && opened->fails) {
        errno = EIO;
        return -1;
    }
    return static_cast<ssize_t>(length);
}

File takeFile(fuzz::Input& input) {
    File file{"", false};
    file.content.reserve(128);
    while (!input.empty()) {
        const unsigned char next = input.byte();
        if (next == 1 || next == 2) {
            file.fails = next == 2;
            break;
        }
        file.content += static_cast<char>(next);
    }
    return file;
}

void compareLookup(const char* where, const std::string& expected, const std::string& name,
                   const conf_table* table) {
    const char* const value = conf_get_r(name.c_str(), table);
    same(where, expected, value == nullptr ? "(none)" : value);
}

void compareLookups(const model::Table& expected, const conf_table* table) {
    for (const model::Pair& pair : expected.pairs) {
        compareLookup("a value that is looked up", pair.value, pair.name, table);
    }
    const std::string last = expected.pairs.empty() ? "" : expected.pairs.back().name;
    for (const std::string& other : {last + "_", last.substr(1 % (last.size() + 1))}) {
        compareLookup("a name that may be absent", expected.valueOf(other), other, table);
    }
}

void compare(const model::Table& expected, const conf_table* table) {
    same("the table", model::shown(expected), model::shown(table));
    compareLookups(expected, table);
    same("the number of reports", expected.reports.size(), model::recorded.size());
    for (std::size_t i = 0; i < model::recorded.size(); ++i) {
        same("a report", "12 " + expected.reports[i], model::recorded[i]);
    }
}

// The same lines through the parser of one line.
void compareLines(const std::string& content) {
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t feed = content.find('\n', at);
        const std::string text =
            content.substr(at, feed == std::string::npos ? feed : feed + 1 - at);
        at += text.size();
        same("a line", model::shown(model::readLine(text)), model::splitLine(text));
    }
}

void readFiles(fuzz::Input& input, model::Table& expected, conf_table* table) {
    do {
        File file = takeFile(input);
        compareLines(file.content);
        expected.readFile(file.content);
        opened = &file;
        read_up_to = 0;
        errno = EDOM;
        const int result = conf_read_file_r("only in this process", table);
        const int error = errno;
        opened = nullptr;
        same("the result", file.fails ? "-1" : "0", std::to_string(result));
        if (file.fails) {
            expected.reports.push_back(std::string("Unable to read configuration file: ") +
                                       std::strerror(EIO));
            same("errno of a failed read", std::to_string(EIO), std::to_string(error));
        }
        compare(expected, table);
    } while (!input.empty());
}

}  // namespace

// By the linker's --wrap: the first is called, the second is the library's. libFuzzer opens the
// files that it writes.
extern "C" FILE* __wrap_fopen(const char* path, const char* mode);
extern "C" FILE* __real_fopen(const char* path, const char* mode);

extern "C" FILE* __wrap_fopen(const char* path, const char* mode) {
    return opened == nullptr
               ? __real_fopen(path, mode)
               : ::fopencookie(opened, mode, {readOpened, nullptr, nullptr, nullptr});
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    message_fn = model::record;
    model::Table expected;
    auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
    readFiles(input, expected, table);

    const std::vector<model::Pair> pairs = expected.pairs;
    for (const model::Pair& pair : pairs) {
        expected.add(pair.value, pair.name);
        same("the result of an addition", 0,
             static_cast<std::uint64_t>(
                 -conf_add_r(pair.value.c_str(), pair.name.c_str(), table)));
    }
    compare(expected, table);
    expected.sort();
    conf_finalize_r(table);
    compare(expected, table);
    conf_free_r(table);
    // With its memory: the fuzzer takes a block that outlives its run for a leak to look into.
    std::vector<std::string>().swap(model::recorded);
    return 0;
}
