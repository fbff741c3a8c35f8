// One line of a configuration file, taken apart in place. Internal to the module: the reader,
// its tests and its fuzzer all use this one parser.

#pragma once

// What a line turned out to be.
enum class conf_line {
    ignored,         // blank, or a comment
    pair,            // a name and a value
    space_expected,  // something other than white space ends the name
    value_expected,  // no value follows the name
};

// Takes apart `line`, which ends at its NUL byte. For a pair, cuts the line with two NUL bytes
// and sets `name` and `value` into it; for the two errors sets `name` to the rest of the line
// from the name's first character, uncut. Whatever is not named is left as it was.
conf_line conf_split_line(char* line, char** name, char** value);
