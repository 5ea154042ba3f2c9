#pragma once
// Tells the program that loaded the library to end: its Qt event loop, and
// any modal dialog's loop running on that thread, return. Callable from any
// thread; returns at once. Does nothing when no Qt application exists.
namespace kau {

void QuitHost();

} // namespace kau
