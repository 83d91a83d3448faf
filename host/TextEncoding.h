// Tells whether a file is text in an encoding that the library reads. Any thread.
#pragma once

#include <cstdint>
#include <string>

struct EncodingProblem {
    std::wstring text;      // what is wrong, and what to do; empty when nothing is
    std::uint32_t line = 0; // the first line with the problem, from 1; 0: the whole file
};

// Reads the file. A byte that is no UTF-8 would make a rule mean another path, without a message.
EncodingProblem EncodingProblemOf(const std::wstring& path);
