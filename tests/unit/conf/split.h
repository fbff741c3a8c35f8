// One call of the line parser over a copy of a text, so that tests can write lines as text.

#pragma once

#include <iosfwd>
#include <string>

#include "conf/line.h"

namespace test {

inline const std::string unset = "(unset)";

// What the parser said of a line, and the line afterwards, its NUL bytes included.
struct Split {
    conf_line kind;
    std::string name;   // unset when the parser did not set it
    std::string value;  // unset likewise
    std::string line;
};

Split split(const std::string& text);

// Equal in all but the line afterwards.
bool operator==(const Split& left, const Split& right);
std::ostream& operator<<(std::ostream& out, const Split& split);

// The four outcomes. `ignored` has no name; the rest of the line is an error's name.
Split ignored();
Split pair(const std::string& name, const std::string& value);
Split spaceExpected(const std::string& rest);
Split valueExpected(const std::string& rest);

// The bytes of the C locale's classes, told without <cctype>.
bool isBlank(char byte);
bool isNamePart(char byte);

}  // namespace test
