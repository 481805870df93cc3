#include "progress/ansitext.h"

#include "common/statuscolours.h"
#include "conversion/converteroutput.h"

#include <QColor>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

template <typename Sink> void applySgr(QStringView params, Sink &sink)
{
    if (params.isEmpty() || params == u"0") {
        sink.reset();
        return;
    }
    for (const QStringView part : params.tokenize(u';')) {
        bool ok = false;
        const int code = part.toInt(&ok, 10);
        if (!ok)
            continue;
        if (code == 0)
            sink.reset();
        else if (code == 1)
            sink.bold();
        else if (!ansiPaletteColour(code).isEmpty())
            sink.colour(code);
    }
}

// Walks a line once and reports its text pieces and the colour commands between them, so
// the HTML and the run list are always produced from the same reading of the line. Other
// escape sequences (cursor moves, erase line, hyperlinks) are dropped, and a NUL shows as
// a visible symbol instead of cutting the line short in the view.
template <typename Sink> void scanAnsi(const QString &line, Sink &sink)
{
    const QStringView view(line);
    qsizetype textStart = 0;
    qsizetype i = 0;
    while (i < view.size()) {
        const char16_t c = view[i].unicode();
        if (c != 0x1b && c != 0) {
            ++i;
            continue;
        }
        if (i > textStart)
            sink.text(view.mid(textStart, i - textStart));
        if (c == 0) {
            sink.text(u"\u2400");
            ++i;
        } else {
            QStringView sgr;
            const qsizetype end = escapeSequenceEnd(view, i, &sgr);
            if (!sgr.isNull())
                applySgr(sgr, sink);
            i = end;
        }
        textStart = i;
    }
    if (i > textStart)
        sink.text(view.mid(textStart, i - textStart));
}

struct HtmlSink
{
    QString html;
    int openSpans = 0;

    void text(QStringView piece)
    {
        if (!piece.isEmpty())
            html += piece.toString().toHtmlEscaped();
    }
    void reset()
    {
        for (; openSpans > 0; --openSpans)
            html += u"</span>"_s;
    }
    void bold()
    {
        html += u"<span style=\"font-weight:bold;\">"_s;
        ++openSpans;
    }
    void colour(int code)
    {
        html += u"<span style=\"color:%1;\">"_s.arg(ansiPaletteColour(code));
        ++openSpans;
    }
};

// Spans only ever nest until a reset, so the innermost colour and any open bold span
// decide what a piece of text looks like.
struct RunSink
{
    QList<AnsiRun> &runs;
    int colourCode = 0;
    bool isBold = false;
    bool nonEmpty = false;

    void text(QStringView piece)
    {
        if (piece.isEmpty())
            return;
        nonEmpty = true;
        if (!runs.isEmpty() && runs.last().colourCode == colourCode && runs.last().bold == isBold)
            runs.last().text += piece;
        else
            runs.append(AnsiRun{piece.toString(), colourCode, isBold});
    }
    void reset()
    {
        colourCode = 0;
        isBold = false;
    }
    void bold()
    {
        isBold = true;
        nonEmpty = true;
    }
    void colour(int code)
    {
        colourCode = code;
        nonEmpty = true;
    }
};

} // namespace

QString ansiPaletteColour(int sgrCode)
{
    static constexpr QRgb normal[] = {qRgb(0x4d, 0x4d, 0x4d), StatusColours::error,   StatusColours::success,
                                      StatusColours::warning, StatusColours::running, qRgb(0xbc, 0x3f, 0xbc),
                                      qRgb(0x11, 0xa8, 0xcd), qRgb(0xe5, 0xe5, 0xe5)};
    // Bright white is deliberately the same grey as normal white.
    static constexpr QRgb bright[] = {qRgb(0x66, 0x66, 0x66), qRgb(0xf1, 0x4c, 0x4c), qRgb(0x23, 0xd1, 0x8b),
                                      qRgb(0xd7, 0xa7, 0x00), qRgb(0x3b, 0x8e, 0xea), qRgb(0xd6, 0x70, 0xd6),
                                      qRgb(0x29, 0xb8, 0xdb), qRgb(0xe5, 0xe5, 0xe5)};
    const int index = sgrCode - 30;
    if (index >= 0 && index <= 7)
        return QColor(normal[index]).name();
    if (index >= 60 && index <= 67)
        return QColor(bright[index - 60]).name();
    return {};
}

QString ansiToHtml(const QString &line)
{
    HtmlSink sink;
    scanAnsi(line, sink);
    sink.reset();
    return sink.html;
}

bool ansiToRuns(const QString &line, QList<AnsiRun> &runs)
{
    runs.clear();
    RunSink sink{runs};
    scanAnsi(line, sink);
    return sink.nonEmpty;
}
