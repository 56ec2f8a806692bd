#pragma once

#include <chrono>

namespace tovalin {

// Whether the user's session bus lets this process in, within `patience`. Qt connects to that bus
// by itself when the application object is made, and waits for it for as long as it takes: a bus
// that accepts and never answers would hang the program for good. Blocks up to `patience`: for the
// start of the program.
bool sessionBusAnswers(std::chrono::milliseconds patience);

}  // namespace tovalin
