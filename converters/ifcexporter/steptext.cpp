#include "steptext.h"

#include <algorithm>

namespace {

int hexValue(wchar_t c)
{
    if (c >= L'0' && c <= L'9')
        return c - L'0';
    if (c >= L'A' && c <= L'F')
        return c - L'A' + 10;
    if (c >= L'a' && c <= L'f')
        return c - L'a' + 10;
    return -1;
}

// Reads `digits` hex digits at `at`; -1 when they are not all there.
long hexRun(const std::wstring &text, std::size_t at, std::size_t digits)
{
    if (at + digits > text.size())
        return -1;
    long value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const int digit = hexValue(text[at + i]);
        if (digit < 0)
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

bool hasAt(const std::wstring &text, std::size_t at, const wchar_t *what)
{
    return text.compare(at, std::wstring(what).size(), what) == 0;
}

// Decodes the \X2\ (4 hex digits) or \X4\ (8 hex digits) run at `at` and returns the position
// after it, or `at` when not even one character follows (it is then copied as written). IFC++
// removes the closing \X0\ of a run it leaves encoded, so a run also ends where its digits do.
std::size_t decodeRun(const std::wstring &text, std::size_t at, std::size_t digits, std::string &out)
{
    std::size_t pos = at + 4;
    std::string decoded;
    for (long value; (value = hexRun(text, pos, digits)) >= 0; pos += digits)
        StepText::appendUtf8(decoded, value > 0x10FFFF ? char32_t(0xFFFD) : static_cast<char32_t>(value));
    if (decoded.empty())
        return at;
    out += decoded;
    return hasAt(text, pos, L"\\X0\\") ? pos + 4 : pos;
}

} // namespace

void StepText::appendUtf8(std::string &out, char32_t c)
{
    if (c >= 0xD800 && c <= 0xDFFF)
        c = 0xFFFD; // a lone surrogate is not text
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c <= 0x10FFFF) {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        appendUtf8(out, 0xFFFD);
    }
}

std::string StepText::toUtf8(const std::wstring &text)
{
    // Most texts of a model are plain ASCII without quotes or backslashes: copied as they are.
    const bool plain =
        std::all_of(text.begin(), text.end(), [](wchar_t c) { return c < 0x80 && c != L'\\' && c != L'\''; });
    if (plain)
        return std::string(text.begin(), text.end());
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const wchar_t c = text[i];
        if (c == L'\'' && i + 1 < text.size() && text[i + 1] == L'\'') {
            out += '\'';
            i += 2;
        } else if (c == L'\\' && i + 1 < text.size() && text[i + 1] == L'\\') {
            out += '\\';
            i += 2;
        } else if (c == L'\\' && hasAt(text, i, L"\\X4\\")) {
            const std::size_t next = decodeRun(text, i, 8, out);
            out += next == i ? "\\" : "";
            i = next == i ? i + 1 : next;
        } else if (c == L'\\' && hasAt(text, i, L"\\X2\\")) {
            const std::size_t next = decodeRun(text, i, 4, out);
            out += next == i ? "\\" : "";
            i = next == i ? i + 1 : next;
        } else if (c == L'\\' && hasAt(text, i, L"\\S\\") && i + 3 < text.size()) {
            appendUtf8(out, static_cast<char32_t>(text[i + 3]) + 0x80);
            i += 4;
        } else {
            appendUtf8(out, static_cast<char32_t>(c));
            ++i;
        }
    }
    return out;
}
