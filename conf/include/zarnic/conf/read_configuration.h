// Reads configuration files of `NAME value` lines into a table and answers lookups.
//
//   auto* table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
//   if (conf_read_file_r("/etc/zrc/zrc.conf", table) == 0) {
//       const char* value = conf_get_r("DUMP_D", table);
//   }
//   conf_free_r(table);
//
// zrc.conf(5) says what a line is, and what becomes of the white space at its end. A bad line
// is reported and skipped, and the read does not fail.
//
// All state is in the table that the caller passes (hence the suffix _r): one table, one thread
// at a time. Reports go through message_fn at level 12. Nothing throws. A null table, a null
// path, or a table that was never initialised where one is needed, is an assertion failure,
// which aborts in every build.

#pragma once

#include <cstdint>

// One variable. The table owns both strings.
struct conf_entry {
    char* name;
    char* value;
};

// All zero before its first use, on the heap (calloc) where conf_free_r is to be called.
struct conf_table {
    conf_entry* data;     // null until initialised
    std::uint64_t size;   // capacity of data, in entries
    std::uint64_t nmemb;  // entries in use; never above size
    std::int32_t sorted;  // 1 while the entries in use ascend by name (strcmp)
};

// Makes sure that there is room for one more entry. Returns 0, or -1 with errno ENOMEM and the
// entries as they were; when the first allocation is refused, `size` is 0 afterwards.
int conf_init_r(conf_table* pconf);

// Reads a file into the table, over what it holds, and finalises it. Returns 0, or -1 with the
// errno of the failed open, read or allocation; the pairs added before the failure stay. The
// table is finalised after a failed read, too, but not after a failed open or allocation.
int conf_read_file_r(const char* conf_file, conf_table* pconf);

// Inserts a copy of the pair, neither null, or replaces the value of a name that is there; a
// full table grows first in both cases. Returns 0, or -1 with errno ENOMEM and the entries as
// they were.
int conf_add_r(const char* name, const char* value, conf_table* pconf);

// Sorts the table by name, unless it is sorted, for logarithmic lookups.
void conf_finalize_r(conf_table* pconf);

// The value of a name, which must not be null, owned by the table and valid until that name is
// replaced; null if absent.
const char* conf_get_r(const char* name, const conf_table* pconf);

// Releases the strings, the entries and the structure itself, which must have come from malloc
// or calloc. Null is ignored.
void conf_free_r(conf_table* pconf);
