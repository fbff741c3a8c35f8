#include "tests/unit/conf/split.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace test {

// The copy is exactly as long as the line, so a sanitizer sees the first byte read beyond it.
Split split(const std::string& text) {
    std::vector<char> line(text.begin(), text.end());
    line.push_back('\0');
    char* name = nullptr;
    char* value = nullptr;
    const conf_line kind = conf_split_line(line.data(), &name, &value);
    return {kind, name == nullptr ? unset : name, value == nullptr ? unset : value,
            std::string(line.data(), text.size())};
}

bool operator==(const Split& left, const Split& right) {
    return left.kind == right.kind && left.name == right.name && left.value == right.value;
}

std::ostream& operator<<(std::ostream& out, const Split& split) {
    return out << "kind " << static_cast<int>(split.kind) << ", name "
               << testing::PrintToString(split.name) << ", value "
               << testing::PrintToString(split.value);
}

Split ignored() { return {conf_line::ignored, unset, unset, {}}; }

Split pair(const std::string& name, const std::string& value) {
    return {conf_line::pair, name, value, {}};
}

Split spaceExpected(const std::string& rest) {
    return {conf_line::space_expected, rest, unset, {}};
}

Split valueExpected(const std::string& rest) {
    return {conf_line::value_expected, rest, unset, {}};
}

bool isBlank(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

bool isNamePart(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '_';
}

}  // namespace test
