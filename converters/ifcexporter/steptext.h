#pragma once

#include <string>

// Text attributes as UTF-8. IFC++ decodes the \X\ and \X2\ escapes of STEP strings but passes
// '' (a quote), \\ (a backslash), \X4\ (32-bit code points) and \S\ through as written, so
// those are decoded here from what the reader leaves.
class StepText
{
public:
    static std::string toUtf8(const std::wstring &text);
    static void appendUtf8(std::string &out, char32_t codePoint);
};
