// The colours of what is printed for people: only on a terminal, and not where the
// environment asks for none (NO_COLOR with any text, or TERM=dumb). One thread.
#pragma once

#include <cstdio>
#include <string>

struct OutputStream {
    FILE* file;
    bool terminal;
    bool knowsColours; // the terminal

    // Makes the terminal, where there is one, take colours if it can.
    static OutputStream Of(FILE* file);
};

class Colours
{
public:
    explicit Colours(const OutputStream& stream);

    std::string Error(const std::string& text) const { return Painted("31", text); }
    std::string Warning(const std::string& text) const { return Painted("33", text); }
    std::string Dim(const std::string& text) const { return Painted("2", text); }
    // A record's line: its first word says of which kind it is.
    std::string Line(const std::string& line) const;

private:
    std::string Painted(const char* colour, const std::string& text) const;

    const bool m_on;
};
