// What the tests of configuration tables share: a table with an owner, a record of what the
// reader reports, and a count of large blocks that tells a forgotten release in any build.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "zarnic/conf/read_configuration.h"

namespace test {

// A zeroed table, released at the end.
class Table {
  public:
    Table();
    ~Table();
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    conf_table* get() const { return table_; }
    conf_table* operator->() const { return table_; }
    conf_table& operator*() const { return *table_; }

    // The value of a name, or "(absent)".
    std::string value(const std::string& name) const;

    // The names in use, in the order of the table.
    std::vector<std::string> names() const;

    // Adds names with the number of each as its value, and fails the test when that fails.
    void addNumbered(const std::string& prefix, int first, int last);

  private:
    conf_table* table_;
};

// Reads a text as a configuration file and returns the reader's result.
int readText(const std::string& text, const Table& table);

struct Report {
    int level;
    std::string text;

    bool operator==(const Report&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Report& report);

// While one lives, message_fn is a recorder that also spoils errno, as any channel may.
class Reports {
  public:
    Reports();
    ~Reports();
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    const std::vector<Report>& all() const;
};

// A length above which a block of the heap is a mapping of its own, and how many of those this
// process has. A sanitizer keeps no such count, but finds the leak itself.
constexpr unsigned long large = 1UL << 20U;
unsigned long largeBlocks();

}  // namespace test
