// Assertions of the configuration module: programming errors end the process in every build
// type, with a text and a source name that are fixed here and not left to the compiler: neither
// NDEBUG, nor the folder of the build, nor the way a compiler spells an expression may change
// them. The function that is named is the one that the assertion stands in, so it stands in the
// operation that the caller called, not in a helper.

#pragma once

// Without this, <cassert> does not declare the function that assert itself ends in.
#undef NDEBUG
#include <cassert>

// Aborts through the standard assertion mechanism unless `condition` holds. `text` is printed
// as the expression that failed, `source` as its file.
#define CONF_ASSERT(condition, text, source)             \
    (static_cast<bool>(condition) ? static_cast<void>(0) \
                                  : __assert_fail(text, source, __LINE__, __func__))
