#include "conversion/converteroutput.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStringMatcher>

#include <algorithm>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// The captured digits (with at most one point) as a rounded percentage. std::from_chars
// reads them as toDouble would, without the locale machinery that a flood of progress
// lines would pay for; std::round rounds half away from zero. Absurdly large values are
// held at a billion, which keeps every later sum inside an int.
int roundedPercent(QStringView digits)
{
    double value = 0;
    char text[64];
    if (digits.size() < qsizetype(sizeof text)) {
        for (qsizetype i = 0; i < digits.size(); ++i)
            text[i] = static_cast<char>(digits.at(i).unicode());
        std::from_chars(text, text + digits.size(), value);
    } else {
        value = digits.toDouble();
    }
    return static_cast<int>(std::min(std::round(value), 1e9));
}

constexpr char16_t escape = 0x1b;

bool isSgrParameters(QStringView params)
{
    return std::all_of(params.begin(), params.end(), [](QChar c) { return c.isDigit() || c == u';'; });
}

} // namespace

ConverterLine interpretConverterLine(QStringView line)
{
    static const QRegularExpression progressPattern(u"Progress:\\s*(\\d+\\.?\\d*)%"_s);
    static const QRegularExpression stagePattern(u"\\[Stage\\]\\s*(.*)"_s);
    static const QRegularExpression startedPattern(u"^-+\\s*Started\\s+(.*?)\\s*\\.{0,3}\\s*$"_s);

    // Most lines are plain log text: a substring test rules each pattern out before the
    // regular expression runs, without changing which lines match. The matchers skip
    // ahead by their tables, which is what makes a flood of plain lines cheap.
    static const QStringMatcher progressTag(u"Progress:");
    static const QStringMatcher stageTag(u"[Stage]");

    ConverterLine result;
    if (progressTag.indexIn(line) >= 0) {
        const auto m = progressPattern.match(line);
        if (m.hasMatch()) {
            result.hasProgress = true;
            result.filePercent = roundedPercent(m.capturedView(1));
        }
    }
    if (stageTag.indexIn(line) >= 0) {
        const auto m = stagePattern.match(line);
        if (m.hasMatch()) {
            result.hasStage = true;
            result.stage = m.captured(1).trimmed();
        }
    }
    if (line.startsWith(u'-') && line.contains(u"Started")) {
        const auto m = startedPattern.match(line);
        if (m.hasMatch()) {
            result.hasStarted = true;
            result.started = m.captured(1).trimmed();
        }
    }
    return result;
}

QString exitCodeMessage(int exitCode)
{
    const char *text = nullptr;
    switch (exitCode) {
    case 0: text = QT_TRANSLATE_NOOP("ConverterOutput", "Conversion completed successfully."); break;
    case 1: text = QT_TRANSLATE_NOOP("ConverterOutput", "Input file not found."); break;
    case 2:
        text = QT_TRANSLATE_NOOP("ConverterOutput", "File version is not supported by this converter.");
        break;
    case 3: text = QT_TRANSLATE_NOOP("ConverterOutput", "Invalid arguments passed to converter."); break;
    case 4:
        text = QT_TRANSLATE_NOOP("ConverterOutput",
                                 "Version restriction: this file requires a newer converter.");
        break;
    case 5:
        text = QT_TRANSLATE_NOOP("ConverterOutput", "No categories specified for custom export mode.");
        break;
    case 6:
        text =
            QT_TRANSLATE_NOOP("ConverterOutput", "Alert executable not found (Windows community edition).");
        break;
    case 7: text = QT_TRANSLATE_NOOP("ConverterOutput", "Date check failed."); break;
    case 8: text = QT_TRANSLATE_NOOP("ConverterOutput", "No arguments provided to converter."); break;
    case 9: text = QT_TRANSLATE_NOOP("ConverterOutput", "File appears to be corrupted or unreadable."); break;
    case 10:
        text = QT_TRANSLATE_NOOP("ConverterOutput", "Failed to create 3D view for geometry export.");
        break;
    case 11:
        text = QT_TRANSLATE_NOOP("ConverterOutput", "Output XLSX path is not writable. Check permissions.");
        break;
    case 12:
        text = QT_TRANSLATE_NOOP("ConverterOutput", "Output DAE path is not writable. Check permissions.");
        break;
    case 13: text = QT_TRANSLATE_NOOP("ConverterOutput", "IFC model is null."); break;
    case 14: text = QT_TRANSLATE_NOOP("ConverterOutput", "IFC project not found in file."); break;
    case 15: text = QT_TRANSLATE_NOOP("ConverterOutput", "Invalid argument passed to converter."); break;
    case 99: text = QT_TRANSLATE_NOOP("ConverterOutput", "Internal error in converter."); break;
    default:
        return QCoreApplication::translate("ConverterOutput", "Converter exited with code %1.").arg(exitCode);
    }
    return QCoreApplication::translate("ConverterOutput", text);
}

LineKind classifyLine(QStringView line)
{
    if (line.contains(u"[ERROR]", Qt::CaseInsensitive))
        return LineKind::Error;
    if (line.contains(u"[WARNING]", Qt::CaseInsensitive) || line.contains(u"[WARN]", Qt::CaseInsensitive))
        return LineKind::Warning;
    return LineKind::Plain;
}

qsizetype escapeSequenceEnd(QStringView line, qsizetype start, QStringView *sgr)
{
    const auto in = [&line](qsizetype i, char16_t low, char16_t high) {
        return i < line.size() && line[i].unicode() >= low && line[i].unicode() <= high;
    };
    qsizetype i = start + 1;
    if (i < line.size() && line[i] == u'[') {
        const qsizetype paramsStart = ++i;
        while (in(i, 0x30, 0x3f))
            ++i;
        const qsizetype paramsEnd = i;
        while (in(i, 0x20, 0x2f))
            ++i;
        if (!in(i, 0x40, 0x7e))
            return i;
        if (line[i] == u'm' && paramsEnd == i &&
            isSgrParameters(line.mid(paramsStart, paramsEnd - paramsStart)))
            *sgr = line.mid(paramsStart, paramsEnd - paramsStart);
        return i + 1;
    }
    if (i < line.size() && line[i] == u']') {
        for (++i; i < line.size(); ++i) {
            if (line[i] == u'\a')
                return i + 1;
            if (line[i] == escape && i + 1 < line.size() && line[i + 1] == u'\\')
                return i + 2;
        }
        return i;
    }
    while (in(i, 0x20, 0x2f))
        ++i;
    // A second escape starts a sequence of its own.
    return i < line.size() && line[i] != escape ? i + 1 : i;
}

QString withoutEscapes(QStringView line)
{
    // Every line of a flood passes here on its way to a log file: most have no escape and
    // are copied whole, the others run by run between their sequences.
    qsizetype next = line.indexOf(QChar(escape));
    if (next < 0)
        return line.toString();
    QString plain;
    plain.reserve(line.size());
    qsizetype from = 0;
    while (next >= 0) {
        plain.append(line.mid(from, next - from));
        QStringView sgr;
        from = escapeSequenceEnd(line, next, &sgr);
        next = line.indexOf(QChar(escape), from);
    }
    plain.append(line.mid(from));
    return plain;
}
