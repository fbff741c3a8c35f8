// How a command answers.

#pragma once

#include <string>

// Writes the line and a line feed to standard output and flushes it, so that nothing is left in
// the buffer for a forked child to write a second time. A failed write is deliberately ignored:
// the exit status tells the outcome all the same.
//
// By stdio and not std::cout: bringing up the stream library, its locale above all, is a third
// of the start of a command.
void answer(const std::string& line);
