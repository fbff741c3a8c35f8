// What the tests of configuration tables share: a table with an owner, and a record of what the
// reader reports.

#pragma once

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/models/configuration_shown.h"
#include "tests/support/capture.h"
#include "zarnic/conf/diagnostics.h"

namespace test {

// A zeroed table, released at the end.
class Table {
  public:
    Table() = default;
    ~Table() { conf_free_r(table_); }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    conf_table* get() const { return table_; }
    conf_table* operator->() const { return table_; }
    conf_table& operator*() const { return *table_; }

    // As the model shows a table.
    std::string shown() const { return model::shown(table_); }

    // The value of a name, or "(none)".
    std::string value(const std::string& name) const {
        const char* const value = conf_get_r(name.c_str(), table_);
        return value == nullptr ? "(none)" : value;
    }

    int add(const std::string& name, const std::string& value) const {
        return conf_add_r(name.c_str(), value.c_str(), table_);
    }

    // Reads a text as a configuration file, and leaves the reader's errno.
    int read(const std::string& text) const {
        int result = 0;
        int error = 0;
        {
            const TempDir directory;
            writeFile(directory / "zrc.conf", text);
            result = conf_read_file_r((directory / "zrc.conf").c_str(), table_);
            error = errno;
        }
        errno = error;
        return result;
    }

  private:
    conf_table* const table_ = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
};

// While one lives, message_fn is a recorder that also spoils errno, as any channel may.
class Reports {
  public:
    Reports() {
        model::recorded.clear();
        message_fn = model::record;
    }
    ~Reports() { message_fn = console_message; }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    // Each with its level before it.
    const std::vector<std::string>& all() const { return model::recorded; }
};

}  // namespace test
