#pragma once

#include "cellvalue.h"

#include <cstdio>
#include <string>
#include <vector>

// The element table as CSV: UTF-8, comma separated, CRLF line ends and RFC 4180 quoting (a field
// holding a comma, quote or line break is quoted, its quotes doubled). Numbers keep every digit.
class CsvExport
{
public:
    explicit CsvExport(const std::string &path);
    ~CsvExport();
    CsvExport(const CsvExport &) = delete;
    CsvExport &operator=(const CsvExport &) = delete;

    bool isOpen() const { return file != nullptr; }
    void writeHeader(const std::vector<std::string> &columns);
    void writeRow(const std::vector<CellValue> &cells);
    bool close(std::string &error);

    static std::string field(const CellValue &value);

private:
    void writeLine(const std::string &line);

    std::FILE *file = nullptr;
    bool failed = false;
};
