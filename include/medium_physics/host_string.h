// CHostString: the host's wide string of 16-bit characters (UTF-16 code units). Substance names,
// identifiers in string form and paths cross the library boundary in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class CHostString {
public:
    CHostString() = default;
    CHostString(const char16_t* s) : m_text(s ? s : u"") {}  // NOLINT(google-explicit-constructor)
    CHostString(std::u16string s) : m_text(std::move(s)) {}   // NOLINT(google-explicit-constructor)

    // UTF-8 in and out. Malformed UTF-8 input becomes U+FFFD per bad byte; an unpaired surrogate
    // on output becomes U+FFFD.
    static CHostString from_utf8(std::string_view utf8);
    std::string to_utf8() const;

    const char16_t* c_str() const noexcept { return m_text.c_str(); }
    const char16_t* data() const noexcept { return m_text.data(); }
    std::size_t length() const noexcept { return m_text.size(); }
    bool empty() const noexcept { return m_text.empty(); }
    const std::u16string& str() const noexcept { return m_text; }
    std::u16string& str() noexcept { return m_text; }

    void assign(const char16_t* s, std::size_t n) { m_text.assign(s, n); }
    void clear() noexcept { m_text.clear(); }

    friend bool operator==(const CHostString& a, const CHostString& b) = default;

private:
    std::u16string m_text;
};

inline CHostString CHostString::from_utf8(std::string_view in) {
    std::u16string out;
    out.reserve(in.size());
    std::size_t i = 0;
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(in[k]); };
    while (i < in.size()) {
        const unsigned char c = byte(i);
        char32_t cp = 0;
        std::size_t extra = 0;
        char32_t min = 0;
        if (c < 0x80) { cp = c; }
        else if ((c & 0xE0) == 0xC0) { cp = c & 0x1F; extra = 1; min = 0x80; }
        else if ((c & 0xF0) == 0xE0) { cp = c & 0x0F; extra = 2; min = 0x800; }
        else if ((c & 0xF8) == 0xF0) { cp = c & 0x07; extra = 3; min = 0x10000; }
        else { out.push_back(u'\uFFFD'); ++i; continue; }
        bool ok = i + extra < in.size();  // every continuation byte is there
        for (std::size_t k = 1; ok && k <= extra; ++k) {
            if ((byte(i + k) & 0xC0) != 0x80) ok = false;
            else cp = (cp << 6) | (byte(i + k) & 0x3F);
        }
        if (!ok || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            out.push_back(u'\uFFFD');
            ++i;
            continue;
        }
        i += extra + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
    }
    return CHostString(std::move(out));
}

inline std::string CHostString::to_utf8() const {
    std::string out;
    out.reserve(m_text.size());
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        char32_t cp = m_text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < m_text.size() && m_text[i + 1] >= 0xDC00 &&
            m_text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (m_text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}
