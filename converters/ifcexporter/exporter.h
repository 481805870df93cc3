#pragma once

#include "commandline.h"

class Protocol;

// Runs one export: loads the model, then writes the element table (XLSX and CSV) and the
// geometry (DAE) in a single pass over the elements, each under a temporary name until done.
class Exporter
{
public:
    explicit Exporter(Protocol &protocol);
    // The exit code for the front end.
    int run(const ExportRequest &request);

private:
    Protocol &protocol;
};
