// The one place that takes a raw wait status apart. The raw word is kept in results and in
// messages; arithmetic on it anywhere else has been the source of wrong exit codes for children
// that dumped core. The layout is the kernel's (wait(2)): signal in bits 0-6, core flag in bit
// 7, exit code in bits 8-15.

#pragma once

namespace zarnic::sys {

// True when the child was ended by a signal, with or without a core, or is only stopped (the
// seven bits are then all set). Not WIFSIGNALED: that is false for a stopped child.
constexpr bool endedBySignal(int status) { return (status & 0x7f) != 0; }

// The exit code of a child that ended normally, 0 to 255.
constexpr int exitCode(int status) { return (status >> 8) & 0xff; }

}  // namespace zarnic::sys
