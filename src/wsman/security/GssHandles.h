// Owning wrappers for the MIT GSSAPI handles the client keeps, so every path releases them.
#pragma once

#include <gssapi/gssapi.h>

#include <string>
#include <utility>

namespace wsman::security {

// Moves a raw handle out of `other`, leaving the "no handle" value behind.
template <typename Handle, Handle kNone, OM_uint32 (*Release)(OM_uint32*, Handle*)>
class GssHandle {
  public:
    GssHandle() = default;
    explicit GssHandle(Handle handle) : handle_(handle) {}
    GssHandle(const GssHandle&) = delete;
    GssHandle& operator=(const GssHandle&) = delete;
    GssHandle(GssHandle&& other) noexcept : handle_(std::exchange(other.handle_, kNone)) {}
    GssHandle& operator=(GssHandle&& other) noexcept {
        if (this != &other) {
            Reset();
            handle_ = std::exchange(other.handle_, kNone);
        }
        return *this;
    }
    ~GssHandle() { Reset(); }

    Handle Get() const { return handle_; }
    // For the output argument of the gss_* call that creates the handle.
    Handle* Out() {
        Reset();
        return &handle_;
    }
    // For calls that take the handle by address and may replace it (gss_init_sec_context).
    Handle* InOut() { return &handle_; }
    explicit operator bool() const { return handle_ != kNone; }
    void Reset() {
        if (handle_ != kNone) {
            OM_uint32 minor = 0;
            Release(&minor, &handle_);
            handle_ = kNone;
        }
    }

  private:
    Handle handle_ = kNone;
};

inline OM_uint32 ReleaseContext(OM_uint32* minor, gss_ctx_id_t* context) {
    return gss_delete_sec_context(minor, context, GSS_C_NO_BUFFER);
}

using GssName = GssHandle<gss_name_t, GSS_C_NO_NAME, gss_release_name>;
using GssCredential = GssHandle<gss_cred_id_t, GSS_C_NO_CREDENTIAL, gss_release_cred>;
using GssContext = GssHandle<gss_ctx_id_t, GSS_C_NO_CONTEXT, ReleaseContext>;

// A buffer that GSSAPI allocated (an output token, a wrapped message, a display string).
class GssBuffer {
  public:
    GssBuffer() = default;
    GssBuffer(const GssBuffer&) = delete;
    GssBuffer& operator=(const GssBuffer&) = delete;
    ~GssBuffer() {
        OM_uint32 minor = 0;
        gss_release_buffer(&minor, &buffer_);
    }
    gss_buffer_t Out() { return &buffer_; }
    std::string ToString() const {
        return buffer_.length == 0 ? std::string()
                                   : std::string(static_cast<const char*>(buffer_.value), buffer_.length);
    }
    std::size_t Size() const { return buffer_.length; }
    const void* Data() const { return buffer_.value; }

  private:
    gss_buffer_desc buffer_{0, nullptr};
};

// An input buffer that points into caller-owned bytes (GSSAPI never writes through it).
inline gss_buffer_desc BorrowBuffer(const std::string& bytes) {
    return gss_buffer_desc{bytes.size(), const_cast<char*>(bytes.data())};
}

}  // namespace wsman::security
