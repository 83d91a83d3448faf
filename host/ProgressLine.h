// One line on a terminal that shows the progress of an enumeration and is overwritten in its place. One thread.
#pragma once

#include "host/Colours.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/ScanProgress.h"

#include <cstdio>
#include <string>

class ProgressLine
{
public:
    explicit ProgressLine(const OutputStream& stream)
        : m_stream(stream.file),
          m_terminal(stream.terminal),
          m_colours(stream)
    {
    }

    // Shows the progress, at most ten times a second; does nothing without a terminal. `now`: from Seconds.
    void Show(const EnumerationProgress& progress, double now);
    void Show(const ScanProgress& progress, double now);
    // Erases the line. Call it before anything else is printed on the terminal.
    void Erase();

private:
    template <typename Progress>
    void ShowAny(const Progress& progress, double now);

    FILE* const m_stream;
    const bool m_terminal;
    const Colours m_colours;
    std::size_t m_length = 0; // length of the shown text
    double m_begun = -1;
    double m_shown = -1;
};

// Returns at most `columns` columns; a folder that is too long loses its beginning. `elapsed`: seconds.
std::string ProgressText(const EnumerationProgress& progress, double elapsed, std::size_t columns);
std::string ProgressText(const ScanProgress& progress, double elapsed, std::size_t columns);
