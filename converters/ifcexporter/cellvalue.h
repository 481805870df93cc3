#pragma once

#include <charconv>
#include <string>
#include <variant>

// One cell of the element table: nothing, text (UTF-8), a number or a truth value.
using CellValue = std::variant<std::monostate, std::string, double, bool>;

// A cell as plain text: numbers in the shortest form that reads back the same, truth values
// as TRUE and FALSE, nothing as nothing.
inline std::string cellText(const CellValue &value)
{
    if (const auto *text = std::get_if<std::string>(&value))
        return *text;
    if (const auto *number = std::get_if<double>(&value)) {
        char buffer[32];
        const auto end = std::to_chars(buffer, buffer + sizeof buffer, *number).ptr;
        return std::string(buffer, end);
    }
    if (const auto *flag = std::get_if<bool>(&value))
        return *flag ? "TRUE" : "FALSE";
    return {};
}
