#pragma once

#include <string>
#include <variant>

// One cell of the element table: nothing, text (UTF-8), a number or a truth value.
using CellValue = std::variant<std::monostate, std::string, double, bool>;
