#pragma once

#include <QList>
#include <QString>

// One stretch of a log line drawn in a single format. colourCode is the SGR code whose
// palette colour applies (30-37, 90-97), or 0 for the view's own text colour.
struct AnsiRun
{
    QString text;
    int colourCode = 0;
    bool bold = false;
};

// Palette colour of an SGR code, or an empty text for codes without one.
QString ansiPaletteColour(int sgrCode);

// One converter line with its SGR colour sequences turned into nested HTML spans.
QString ansiToHtml(const QString &line);

// The same line as the runs of text that ansiToHtml's HTML shows, for views that insert
// formatted text directly. Returns false exactly when ansiToHtml would return an empty text.
bool ansiToRuns(const QString &line, QList<AnsiRun> &runs);
