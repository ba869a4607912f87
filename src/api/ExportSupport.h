// What every export shares: the handle, the caller's text and number outputs, the guard that keeps C++
// exceptions inside the module, and the bodies of the check exports and the list exports.
//
// A check export reads:
//
//     uint32_t WSManGetX(QNSNWSM_HANDLE h, const char* in, char* text, uint32_t textSize, char* error,
//                        uint32_t errorSize, uint32_t* number) {
//         return qn::api::RunCheckExport(
//             h, [&](CQnWSMan& module, CQncString& textOut, CQncString& errorOut, uint32_t& numberOut) {
//                 return module.WinRMGetX(in, textOut, errorOut, numberOut);
//             },
//             CallerText{text, textSize}, CallerText{error, errorSize}, CallerNumber{number});
//     }
#pragma once

#include <cstdint>
#include <exception>
#include <tuple>
#include <utility>

#include "base/QncList.h"
#include "base/QncString.h"
#include "engine/CQnWSMan.h"
#include "qnsnwsm.h"

namespace qn::api {

inline constexpr std::uint32_t kExportFailure = 0xFFFFFFFF;
inline constexpr const char* kNullHandleText = "Handle is a NULL pointer";

inline CQnWSMan* ModuleFromHandle(QNSNWSM_HANDLE handle) {
    return reinterpret_cast<CQnWSMan*>(handle);
}
inline QNSNWSM_HANDLE HandleFromModule(CQnWSMan* module) {
    return reinterpret_cast<QNSNWSM_HANDLE>(module);
}

// A method's status as the export returns it: the same bits in 32 unsigned bits (-1 is 0xFFFFFFFF).
inline std::uint32_t ExportResult(std::int64_t status) {
    return static_cast<std::uint32_t>(status);
}

// Zeroes the whole buffer; a null buffer or a size of 0 is left alone.
void ZeroBuffer(char* buffer, std::uint32_t size);
// strncpy of at most `size` bytes (the rest padded with NUL), then a NUL in the last byte: a longer text is
// cut to size - 1 characters. A null buffer or a size of 0 is not written.
void CopyToBuffer(const char* text, char* buffer, std::uint32_t size);

struct CallerText;
struct CallerNumber;

// One caller text buffer: zeroed when constructed, filled from Text() by CopyOut().
class TextOut {
  public:
    TextOut(char* buffer, std::uint32_t size) : buffer_(buffer), size_(size) { ZeroBuffer(buffer_, size_); }
    explicit TextOut(const CallerText& spec);
    TextOut(const TextOut&) = delete;
    TextOut& operator=(const TextOut&) = delete;

    CQncString& Text() { return text_; }
    std::uint32_t Size() const { return size_; }
    void CopyOut() const { CopyToBuffer(text_.GetText(), buffer_, size_); }

  private:
    char* buffer_;
    std::uint32_t size_;
    CQncString text_;
};

// One caller number: set to 0 when constructed unless the export leaves it to the method. A null pointer
// gets a scratch value, so a host that does not want a number may pass NULL.
class NumberOut {
  public:
    enum Initial { kZero, kLeaveAsIs };
    explicit NumberOut(std::uint32_t* target, Initial initial = kZero)
        : target_(target != nullptr ? target : &scratch_) {
        if (initial == kZero) *target_ = 0;
    }
    explicit NumberOut(const CallerNumber& spec);
    NumberOut(const NumberOut&) = delete;
    NumberOut& operator=(const NumberOut&) = delete;

    std::uint32_t& Value() { return *target_; }

  private:
    std::uint32_t scratch_ = 0;
    std::uint32_t* target_;
};

// What a check export hands its check: one caller text buffer, or one caller number (reset to 0 unless the
// check is to see the caller's value).
struct CallerText {
    char* buffer;
    std::uint32_t size;
};
struct CallerNumber {
    std::uint32_t* target;
    NumberOut::Initial initial = NumberOut::kZero;
};

inline CQncString& CheckArgument(TextOut& out) {
    return out.Text();
}
inline std::uint32_t& CheckArgument(NumberOut& out) {
    return out.Value();
}
inline void CopyBack(const TextOut& out) {
    out.CopyOut();
}
inline void CopyBack(const NumberOut&) {}

template <typename Spec>
struct OutputFor;
template <>
struct OutputFor<CallerText> {
    using Type = TextOut;
};
template <>
struct OutputFor<CallerNumber> {
    using Type = NumberOut;
};

// Runs an export's body; a C++ exception never leaves the module: it ends in kExportFailure.
template <typename Body>
std::uint32_t GuardExport(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return kExportFailure;
    }
}

// The same for the exports that return nothing.
template <typename Body>
void GuardVoidExport(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
    }
}

inline TextOut::TextOut(const CallerText& spec) : TextOut(spec.buffer, spec.size) {}
inline NumberOut::NumberOut(const CallerNumber& spec) : NumberOut(spec.target, spec.initial) {}

// The body of every check export. The caller's outputs are reset first (texts zeroed, numbers as
// CallerNumber says); a null handle then ends in kExportFailure with nothing more written. Otherwise
// `check(module, outputs...)` runs with each output as the check's CQncString& or uint32_t&, every text is
// copied back in the order given, and the check's status is returned.
template <typename Check, typename... Specs>
std::uint32_t RunCheckExport(QNSNWSM_HANDLE handle, Check&& check, Specs... specs) noexcept {
    return GuardExport([&]() -> std::uint32_t {
        std::tuple<typename OutputFor<Specs>::Type...> outputs(specs...);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) return kExportFailure;
        const int result =
            std::apply([&](auto&... output) { return check(*module, CheckArgument(output)...); }, outputs);
        std::apply([](const auto&... output) { (CopyBack(output), ...); }, outputs);
        return ExportResult(result);
    });
}

// The body of an export whose check joins its own list into one text, without a limit; the copy cuts the
// text to the caller's buffer.
inline std::uint32_t RunJoinedListExport(QNSNWSM_HANDLE handle, char* list, std::uint32_t listSize,
                                         char* error, std::uint32_t errorSize,
                                         int (CQnWSMan::*check)(CQncString& list,
                                                                CQncString& error)) noexcept {
    return RunCheckExport(
        handle,
        [check](CQnWSMan& module, CQncString& listText, CQncString& errorText) {
            return (module.*check)(listText, errorText);
        },
        CallerText{list, listSize}, CallerText{error, errorSize});
}

// The list exports' join: "||" counted as two characters, no alternative separator, sorted without regard
// to case, joined under the caller's buffer size.
void JoinForCaller(CQncListString& list, CQncString& out, std::uint32_t bufferSize);

// The body of a list export. `method(module, list, error)` fills the list and the error text and returns
// the check's status. A null handle writes "Handle is a NULL pointer" to the error buffer. The error text is
// always copied; the list only when the method returned 0 (else the list buffer stays zeroed).
template <typename Method>
std::uint32_t RunListExport(QNSNWSM_HANDLE handle, char* list, std::uint32_t listSize, char* error,
                            std::uint32_t errorSize, Method&& method) noexcept {
    return GuardExport([&]() -> std::uint32_t {
        TextOut listOut(list, listSize);
        TextOut errorOut(error, errorSize);
        CQnWSMan* module = ModuleFromHandle(handle);
        if (module == nullptr) {
            errorOut.Text() = kNullHandleText;
            errorOut.CopyOut();
            return kExportFailure;
        }
        CQncListString names;
        const int result = std::forward<Method>(method)(*module, names, errorOut.Text());
        errorOut.CopyOut();
        if (result == 0) {
            JoinForCaller(names, listOut.Text(), listSize);
            listOut.CopyOut();
        }
        return ExportResult(result);
    });
}

}  // namespace qn::api
