// The colours of output for people: only on a terminal, and not when the environment forbids them (NO_COLOR with any
// text, or TERM=dumb). One thread.
#pragma once

#include <cstdio>
#include <string>

struct OutputStream {
    FILE* file;
    bool terminal;
    bool knowsColours; // whether the terminal does

    // Describes the stream. Switches colours on in a terminal that can show them.
    static OutputStream Of(FILE* file);
};

class Colours
{
public:
    explicit Colours(const OutputStream& stream);

    std::string Error(const std::string& text) const { return Painted("31", text); }
    std::string Warning(const std::string& text) const { return Painted("33", text); }
    std::string Dim(const std::string& text) const { return Painted("2", text); }
    // Colours a record's line: its first word names its kind.
    std::string Line(const std::string& line) const;

private:
    std::string Painted(const char* colour, const std::string& text) const;

    const bool m_on;
};
