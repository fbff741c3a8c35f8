// How a command answers: one line on standard output, in one write. A panel that reads once
// gets the whole line, whatever its length.

#pragma once

#include <string>

// Takes the buffer away from standard output, because it would cut a long line in two. Call it
// before anything is written there (setvbuf(3)).
void writeAnswersAtOnce();

// Writes the line and a line feed to standard output. Nothing is left in a buffer for a forked
// child to write a second time. A failed write is deliberately ignored: the exit status tells
// the outcome all the same. Never throws: without memory for line and line feed together, they
// are written one after the other.
//
// By stdio and not std::cout: the stream library and its locales make the program three
// quarters larger, and including <iostream> has them made before main, in every command.
void answer(const std::string& line) noexcept;
