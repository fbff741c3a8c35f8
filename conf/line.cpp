#include "conf/line.h"

namespace {

// Not <cctype>: whatever the locale, bytes of 128 and above are neither, and calls cost time.
bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_name_part(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           c == '_';
}

char* skip_space(char* text) {
    while (is_space(*text)) {
        ++text;
    }
    return text;
}

// Deliberate, this is the format: each character of white space toggles the marker. So a run of
// even length before the end is kept. One of odd length, such as a line feed, loses its last
// character.
char* find_value_end(char* value) {
    char* marker = nullptr;
    // From the second character on: the first is neither white space nor "#", as the caller
    // saw.
    char* end = value + 1;
    for (; *end != '\0' && *end != '#'; ++end) {
        marker = is_space(*end) && marker == nullptr ? end : nullptr;
    }
    return marker != nullptr ? marker : end;
}

}  // namespace

conf_line conf_split_line(char* line, char** name, char** value) {
    char* const start = skip_space(line);
    if (*start == '\0' || *start == '#') {
        return conf_line::ignored;
    }
    *name = start;
    char* separator = start;
    while (is_name_part(*separator)) {
        ++separator;
    }
    if (!is_space(*separator)) {
        return conf_line::space_expected;
    }
    char* const text = skip_space(separator);
    if (*text == '\0' || *text == '#') {
        return conf_line::value_expected;
    }
    // The name is cut only here: the two errors above report the line uncut.
    *separator = '\0';
    *find_value_end(text) = '\0';
    *value = text;
    return conf_line::pair;
}
