// One fuzz input through the parsers that read what a server sends before anything is
// authenticated or unsealed: the multipart/encrypted reply and WWW-Authenticate headers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wsman::fuzz {

// Aborts when a parser breaks one of its promises (parts outside the input, a built body that
// does not parse back to the same parts).
void FuzzSecurityParsers(const std::uint8_t* data, std::size_t size);

}  // namespace wsman::fuzz
