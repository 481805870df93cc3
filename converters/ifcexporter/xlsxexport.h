#pragma once

#include "cellvalue.h"

#include <map>
#include <string>
#include <vector>

struct lxw_workbook;
struct lxw_worksheet;
struct lxw_format;

// The element table as an XLSX workbook: an "Elements" sheet with a header row and one row per
// element, and a "Summary" sheet with the number of elements per IFC class. libxlsxwriter runs in
// constant-memory mode, so rows go to disk as they come and memory stays flat for any model.
class XlsxExport
{
public:
    explicit XlsxExport(const std::string &path);
    ~XlsxExport();
    XlsxExport(const XlsxExport &) = delete;
    XlsxExport &operator=(const XlsxExport &) = delete;

    bool isOpen() const { return workbook != nullptr; }
    void writeHeader(const std::vector<std::string> &columns);
    void writeRow(const std::vector<CellValue> &cells);
    void writeSummary(const std::map<std::string, long long> &elementsPerClass);
    // Writes the file; false with `error` set when it could not be written.
    bool close(std::string &error);
    // Rows left out because the sheet was full, and cells cut to the format's text limit.
    long long droppedRows() const { return dropped; }
    long long shortenedCells() const { return shortened; }

private:
    void writeCell(lxw_worksheet *sheet, unsigned row, unsigned short column, const CellValue &value);

    lxw_workbook *workbook = nullptr;
    lxw_worksheet *elements = nullptr;
    lxw_worksheet *summary = nullptr;
    lxw_format *bold = nullptr;
    unsigned nextRow = 0;
    long long dropped = 0;
    long long shortened = 0;
    int firstError = 0;
};
