// Command lines, and the errors that they raise.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zarnic/opt/parsing.h"

namespace test {

inline zarnic::opt::TOParsing parse(const std::vector<std::string>& arguments) {
    std::vector<const char*> argv = {"program"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    argv.push_back(nullptr);
    return {argv.data(), static_cast<int>(argv.size()) - 1};
}

// The message of the Error that `body` throws. Nothing or another error fails the test.
template <class Error, class Body>
std::string raised(const Body& body) {
    try {
        body();
    } catch (const Error& error) {
        return error.message();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "nothing was thrown";
}

}  // namespace test
