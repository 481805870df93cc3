#include "xlsxexport.h"

#include <cmath>
#include <xlsxwriter.h>

namespace {
// The format's limits: rows and columns of a sheet, characters in a cell.
constexpr unsigned maxRows = 1048576;
constexpr std::size_t maxColumns = 16384;
constexpr std::size_t maxCellText = 32767;

// Cuts UTF-8 text at a character boundary at or below `limit` bytes; a byte limit below the
// character limit keeps every cell valid whatever its script.
std::string cut(const std::string &text, std::size_t limit)
{
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}
} // namespace

XlsxExport::XlsxExport(const std::string &path)
{
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    workbook = workbook_new_opt(path.c_str(), &options);
    if (!workbook)
        return;
    elements = workbook_add_worksheet(workbook, "Elements");
    summary = workbook_add_worksheet(workbook, "Summary");
    bold = workbook_add_format(workbook);
    format_set_bold(bold);
}

XlsxExport::~XlsxExport()
{
    std::string ignored;
    close(ignored);
}

void XlsxExport::writeCell(lxw_worksheet *sheet, unsigned row, unsigned short column, const CellValue &value)
{
    lxw_error result = LXW_NO_ERROR;
    if (const auto *text = std::get_if<std::string>(&value)) {
        if (text->size() > maxCellText) {
            ++shortened;
            result = worksheet_write_string(sheet, row, column, cut(*text, maxCellText).c_str(), nullptr);
        } else if (!text->empty()) {
            result = worksheet_write_string(sheet, row, column, text->c_str(), nullptr);
        }
    } else if (const auto *number = std::get_if<double>(&value)) {
        result = std::isfinite(*number)
                     ? worksheet_write_number(sheet, row, column, *number, nullptr)
                     : worksheet_write_string(sheet, row, column, std::to_string(*number).c_str(), nullptr);
    } else if (const auto *flag = std::get_if<bool>(&value)) {
        result = worksheet_write_boolean(sheet, row, column, *flag, nullptr);
    }
    if (result != LXW_NO_ERROR && firstError == 0)
        firstError = result;
}

void XlsxExport::writeHeader(const std::vector<std::string> &columns)
{
    if (!workbook)
        return;
    for (std::size_t c = 0; c < columns.size() && c < maxColumns; ++c)
        worksheet_write_string(elements, 0, static_cast<unsigned short>(c), columns[c].c_str(), bold);
    worksheet_freeze_panes(elements, 1, 1);
    nextRow = 1;
}

void XlsxExport::writeRow(const std::vector<CellValue> &cells)
{
    if (!workbook)
        return;
    if (nextRow >= maxRows) {
        ++dropped;
        return;
    }
    for (std::size_t c = 0; c < cells.size() && c < maxColumns; ++c)
        writeCell(elements, nextRow, static_cast<unsigned short>(c), cells[c]);
    ++nextRow;
}

void XlsxExport::writeSummary(const std::map<std::string, long long> &elementsPerClass)
{
    if (!workbook)
        return;
    worksheet_write_string(summary, 0, 0, "IFC class", bold);
    worksheet_write_string(summary, 0, 1, "Elements", bold);
    unsigned row = 1;
    long long total = 0;
    for (const auto &[ifcClass, count] : elementsPerClass) {
        worksheet_write_string(summary, row, 0, ifcClass.c_str(), nullptr);
        worksheet_write_number(summary, row, 1, static_cast<double>(count), nullptr);
        total += count;
        ++row;
    }
    worksheet_write_string(summary, row, 0, "Total", bold);
    worksheet_write_number(summary, row, 1, static_cast<double>(total), bold);
}

bool XlsxExport::close(std::string &error)
{
    if (!workbook)
        return false;
    const lxw_error result = workbook_close(workbook);
    workbook = nullptr;
    const int failure = firstError != 0 ? firstError : result;
    if (failure != LXW_NO_ERROR) {
        error = lxw_strerror(static_cast<lxw_error>(failure));
        return false;
    }
    return true;
}
