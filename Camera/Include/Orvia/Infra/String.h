// The camera library's string: an owned, null-terminated run of bytes. Feature names, symbols,
// keys and chunk texts travel in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Orvia::Infra {

class CString {
public:
    CString() = default;
    // A null pointer gives the empty string.
    CString(const char* text) : text_(text ? text : "") {}
    CString(const char* text, size_t length) : text_(text, length) {}
    CString(std::string text) : text_(std::move(text)) {}

    const char* c_str() const { return text_.c_str(); }
    size_t size() const { return text_.size(); }
    size_t length() const { return text_.size(); }
    bool empty() const { return text_.empty(); }
    const std::string& str() const { return text_; }
    operator std::string_view() const { return text_; }

    CString& operator+=(const CString& more) {
        text_ += more.text_;
        return *this;
    }
    friend bool operator==(const CString& a, const CString& b) { return a.text_ == b.text_; }
    friend bool operator==(const CString& a, const char* b) { return b && a.text_ == b; }
    friend auto operator<=>(const CString& a, const CString& b) { return a.text_ <=> b.text_; }

private:
    std::string text_;
};

} // namespace Orvia::Infra
