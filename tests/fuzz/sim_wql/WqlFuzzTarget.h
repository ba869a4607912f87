// Feeds arbitrary text to the simulator's WQL parser and, when it parses, runs it against a workstation.
#pragma once

#include <cstddef>
#include <cstdint>

void FuzzWqlQuery(const std::uint8_t* data, std::size_t size);
