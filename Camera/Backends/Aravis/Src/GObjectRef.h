// Owning references to GLib objects and errors, so that every path gives back what Aravis
// handed out.
#pragma once

#include <arv.h>

#include <string>
#include <utility>

namespace Orvia::Aravis::Detail {

// One strong reference to a GObject.
template <typename T>
class TGObjectRef {
public:
    TGObjectRef() = default;
    // Takes over a reference the caller owns.
    explicit TGObjectRef(T* object) : object_(object) {}
    ~TGObjectRef() { reset(); }
    TGObjectRef(const TGObjectRef& other) : object_(other.object_) {
        if (object_) {
            g_object_ref(object_);
        }
    }
    TGObjectRef& operator=(TGObjectRef other) {
        std::swap(object_, other.object_);
        return *this;
    }

    T* get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }
    // Gives up the reference without dropping it.
    T* release() { return std::exchange(object_, nullptr); }
    void reset() {
        if (T* object = std::exchange(object_, nullptr)) {
            g_object_unref(object);
        }
    }

private:
    T* object_ = nullptr;
};

// A GError slot that frees what it holds.
class CGError {
public:
    CGError() = default;
    ~CGError() { clear(); }
    CGError(const CGError&) = delete;
    CGError& operator=(const CGError&) = delete;

    GError** out() {
        clear();
        return &error_;
    }
    bool failed() const { return error_ != nullptr; }
    const GError* get() const { return error_; }
    std::string message() const { return error_ ? std::string(error_->message) : std::string(); }
    void clear() {
        if (error_) {
            g_error_free(error_);
            error_ = nullptr;
        }
    }

private:
    GError* error_ = nullptr;
};

// Aravis strings live until the next call on the same object: copy them at once.
inline std::string copyText(const char* text) {
    return text ? std::string(text) : std::string();
}

} // namespace Orvia::Aravis::Detail
