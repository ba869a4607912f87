// One input through every parser of replies: the reply check (as HTTP 200 and 500), fault reading,
// enumeration batches and invoke output. Shared by the libFuzzer target and the corpus replay test.
#pragma once

#include <cstddef>
#include <cstdint>

void FuzzSoapReply(const std::uint8_t* data, std::size_t size);
