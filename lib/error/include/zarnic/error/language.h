// The language of the headers, included by all of them but conf's, which take C++11.

#pragma once

#if __cplusplus < 202002L
#error "zarnic needs C++20: -std=c++20, or set(CMAKE_CXX_STANDARD 20)"
#endif
