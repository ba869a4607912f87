// Response envelopes in the exact form Windows' WinRM service writes them.
#pragma once

#include <string>
#include <string_view>

namespace qnsim {

// A complete response envelope: the Windows namespace set on s:Envelope, headers Action, MessageID, To
// (anonymous) and RelatesTo (omitted when the request had no MessageID), then `bodyContent` inside s:Body.
// The envelope's xml:lang is the request's w:Locale, as with Windows (en-US when the request named none).
std::string RenderEnvelope(std::string_view action, std::string_view relatesTo, std::string_view bodyContent,
                           std::string_view locale = "");

}  // namespace qnsim
