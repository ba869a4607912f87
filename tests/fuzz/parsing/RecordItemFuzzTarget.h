// One input as item text through the record parser: both installation stylesheets, then property lookups,
// and the record-text lookup on the raw bytes. Aborts when a record breaks the one-line-per-property form,
// when the compact item tree and libxml2's document disagree on whether a text is well-formed, or when the
// native record writer and libxslt disagree on an item.
#pragma once

#include <cstddef>
#include <cstdint>

void FuzzRecordItem(const std::uint8_t* data, std::size_t size);
