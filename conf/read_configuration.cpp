#include "zarnic/conf/read_configuration.h"

#include <search.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "conf/assertion.h"
#include "conf/line.h"
#include "zarnic/conf/diagnostics.h"

namespace {

constexpr int report_level = 12;  // above the console's first threshold, so that it is silent
constexpr std::uint64_t initial_capacity = 20;
// The largest size that is doubled without an overflow, and the largest array whose bytes can
// still be counted.
constexpr std::uint64_t largest_doubled = 9223372036854775806U;
constexpr std::uint64_t largest_capacity =
    std::min<std::uint64_t>(1152921504606846974U, SIZE_MAX / sizeof(conf_entry));
constexpr const char* reader_source = "conf/read_configuration.cpp";

constexpr const char* usable =
    "((void *)0) != pconf && ((void *)0) != pconf->data && pconf->size >= pconf->nmemb";

bool is_usable(const conf_table* pconf) {
    return pconf != nullptr && pconf->data != nullptr && pconf->size >= pconf->nmemb;
}

int compare_names(const void* left, const void* right) {
    return std::strcmp(static_cast<const conf_entry*>(left)->name,
                       static_cast<const conf_entry*>(right)->name);
}

// Reports first: the channel may change errno. The text is that of ENOMEM and not of errno,
// which nothing has set when a capacity is refused without an allocation.
int out_of_memory(const char* format) {
    message_fn(report_level, format, std::strerror(ENOMEM));
    errno = ENOMEM;
    return -1;
}

// The capacity after `pconf` has grown: doubled, or past the entries where that is not enough.
std::uint64_t next_capacity(const conf_table* pconf) {
    const std::uint64_t doubled = pconf->size > largest_doubled ? 0 : pconf->size * 2;
    // Never to nothing: reallocating to no bytes would release the entries.
    if (doubled < pconf->nmemb || doubled == 0) {
        return pconf->nmemb + initial_capacity;
    }
    return doubled;
}

int grow(conf_table* pconf) {
    const std::uint64_t capacity = next_capacity(pconf);
    void* larger = nullptr;
    // A capacity below the entries means that the sum was too large for its type. realloc
    // leaves the old array as it is when it fails, so nothing is assigned before it is known.
    if (capacity <= largest_capacity && capacity >= pconf->nmemb) {
        larger =
            std::realloc(pconf->data, static_cast<std::size_t>(capacity) * sizeof(conf_entry));
    }
    if (larger == nullptr) {
        return out_of_memory("Unable to read configuration: %s");
    }
    pconf->data = static_cast<conf_entry*>(larger);
    // The release walks the whole capacity, so no slot may hold a stray pointer.
    const auto added = static_cast<std::size_t>(capacity - pconf->size);
    std::memset(pconf->data + pconf->size, 0, added * sizeof(conf_entry));
    pconf->size = capacity;
    return 0;
}

// Reports a bad line; returns -1 only when there is no memory for a good one.
int add_line(char* line, conf_table* pconf) {
    char* name = nullptr;
    char* value = nullptr;
    const conf_line kind = conf_split_line(line, &name, &value);
    if (kind == conf_line::pair) {
        return conf_add_r(name, value, pconf);
    }
    if (kind == conf_line::space_expected) {
        message_fn(report_level,
                   "Invalid variable definition %s\nExpected a space after variable name\n",
                   name);
    } else if (kind == conf_line::value_expected) {
        message_fn(report_level, "Invalid variable definition %s\nExpected a value", name);
    }
    return 0;
}

// Returns 0 at the end of the file, else -1 with errno; `failed_read` tells which call failed.
int add_lines(std::FILE* file, conf_table* pconf, bool* failed_read) {
    char* line = nullptr;
    std::size_t room = 0;
    int result = 0;
    while (result == 0 && ::getdelim(&line, &room, '\n', file) >= 0) {
        // After a failed read getdelim first returns the part of the line that it has. Only the
        // next call fails, and does not set errno again. So the read's errno is kept here,
        // while the line is handled like any other.
        const int read_error = errno;
        result = add_line(line, pconf);
        if (result == 0 && std::ferror(file) != 0) {
            errno = read_error;
        }
    }
    // Before free, which may change it.
    const int error = errno;
    // getdelim returns the same for the end of the file, a failed read and a lack of memory for
    // the line. Only the first is a good end.
    if (result == 0 && (std::feof(file) == 0 || std::ferror(file) != 0)) {
        *failed_read = true;
        result = -1;
    }
    std::free(line);
    errno = error;
    return result;
}

}  // namespace

int conf_init_r(conf_table* pconf) {
    CONF_ASSERT(pconf != nullptr, "((void *)0) != pconf", reader_source);
    if (pconf->data != nullptr) {
        return pconf->nmemb >= pconf->size ? grow(pconf) : 0;
    }
    pconf->data = static_cast<conf_entry*>(std::calloc(initial_capacity, sizeof(conf_entry)));
    // Deliberately not reported, unlike a refused growth: this is the interface.
    if (pconf->data == nullptr) {
        pconf->size = 0;
        errno = ENOMEM;
        return -1;
    }
    pconf->size = initial_capacity;
    pconf->nmemb = 0;
    pconf->sorted = 1;
    return 0;
}

int conf_add_r(const char* name, const char* value, conf_table* pconf) {
    // First, because lsearch appends without asking how much room there is.
    if (conf_init_r(pconf) != 0) {
        return -1;
    }
    // Copies before anything is freed: the caller's value may be the one that is replaced.
    conf_entry added = {::strdup(name), ::strdup(value)};
    if (added.name == nullptr || added.value == nullptr) {
        std::free(added.name);
        std::free(added.value);
        return out_of_memory("Unable to form configuration: %s");
    }
    auto count = static_cast<std::size_t>(pconf->nmemb);
    auto* const entry = static_cast<conf_entry*>(
        ::lsearch(&added, pconf->data, &count, sizeof(conf_entry), compare_names));
    if (count != pconf->nmemb) {
        pconf->nmemb = count;
        pconf->sorted = 0;
        return 0;
    }
    // The name was there. The order has not changed, so `sorted` stays as it is.
    std::free(entry->value);
    entry->value = added.value;
    std::free(added.name);
    return 0;
}

int conf_read_file_r(const char* conf_file, conf_table* pconf) {
    CONF_ASSERT(conf_file != nullptr && pconf != nullptr,
                "((void *)0) != conf_file && ((void *)0) != pconf", reader_source);
    if (conf_init_r(pconf) != 0) {
        return -1;
    }
    std::FILE* const file = std::fopen(conf_file, "r");
    if (file == nullptr) {
        // Before the report: the channel may change it, and the caller is to see the open's.
        const int error = errno;
        message_fn(report_level, "unable to open configuration file %s: %s\n", conf_file,
                   std::strerror(error));
        errno = error;
        return -1;
    }
    bool failed_read = false;
    const int result = add_lines(file, pconf, &failed_read);
    // Before fclose and the report, which may change it.
    const int error = errno;
    // Not after a lack of memory for a pair: this is the interface.
    if (result == 0 || failed_read) {
        conf_finalize_r(pconf);
    }
    std::fclose(file);
    if (failed_read) {
        message_fn(report_level, "Unable to read configuration file: %s", std::strerror(error));
    }
    errno = error;
    return result;
}

void conf_finalize_r(conf_table* pconf) {
    CONF_ASSERT(is_usable(pconf), usable, reader_source);
    if (pconf->sorted == 0) {
        std::qsort(pconf->data, static_cast<std::size_t>(pconf->nmemb), sizeof(conf_entry),
                   compare_names);
        pconf->sorted = 1;
    }
}

const char* conf_get_r(const char* name, const conf_table* pconf) {
    CONF_ASSERT(is_usable(pconf), usable, reader_source);
    const conf_entry key = {const_cast<char*>(name), nullptr};  // only compared with
    auto count = static_cast<std::size_t>(pconf->nmemb);
    const auto* const found =
        pconf->sorted != 0
            ? std::bsearch(&key, pconf->data, count, sizeof(conf_entry), compare_names)
            : ::lfind(&key, pconf->data, &count, sizeof(conf_entry), compare_names);
    return found == nullptr ? nullptr : static_cast<const conf_entry*>(found)->value;
}

void conf_free_r(conf_table* pconf) {
    if (pconf == nullptr) {
        return;
    }
    // Up to the capacity and not only the entries in use: the slots behind them are zero, and
    // freeing null does nothing.
    for (std::uint64_t i = 0; pconf->data != nullptr && i < pconf->size; ++i) {
        std::free(pconf->data[i].name);
        std::free(pconf->data[i].value);
    }
    std::free(pconf->data);
    std::free(pconf);
}
