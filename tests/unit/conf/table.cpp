#include "tests/unit/conf/table.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "tests/support/capture.h"
#include "zarnic/conf/diagnostics.h"

namespace test {

namespace {

std::vector<Report> recorded;

[[gnu::format(printf, 2, 3)]] void record(int level, const char* format, ...) {
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    recorded.push_back({level, text});
    errno = EDOM;
}

}  // namespace

Table::Table() : table_(static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)))) {}

Table::~Table() { conf_free_r(table_); }

std::string Table::value(const std::string& name) const {
    const char* const value = conf_get_r(name.c_str(), table_);
    return value == nullptr ? "(absent)" : value;
}

std::vector<std::string> Table::names() const {
    std::vector<std::string> names;
    for (std::uint64_t i = 0; i < table_->nmemb; ++i) {
        names.emplace_back(table_->data[i].name);
    }
    return names;
}

void Table::addNumbered(const std::string& prefix, int first, int last) {
    for (int number = first; number <= last; ++number) {
        const std::string value = std::to_string(number);
        ASSERT_EQ(conf_add_r((prefix + value).c_str(), value.c_str(), table_), 0);
    }
}

int readText(const std::string& text, const Table& table) {
    const TempDir directory;
    writeFile(directory / "zrc.conf", text);
    return conf_read_file_r((directory / "zrc.conf").c_str(), table.get());
}

std::ostream& operator<<(std::ostream& out, const Report& report) {
    return out << report.level << " \"" << report.text << '"';
}

Reports::Reports() {
    recorded.clear();
    message_fn = record;
}

Reports::~Reports() { message_fn = console_message; }

const std::vector<Report>& Reports::all() const { return recorded; }

unsigned long largeBlocks() {
    // Set, so that the C library does not raise it whenever such a block is freed.
    ::mallopt(M_MMAP_THRESHOLD, large / 2);
    return ::mallinfo2().hblks;
}

}  // namespace test
