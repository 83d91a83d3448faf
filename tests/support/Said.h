// Answers to the question whether something was said, which show what was said instead when a test fails.
#pragma once

#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Returns whether the text contains the part.
inline testing::AssertionResult Says(const std::string& text, const std::string& part)
{
    if (text.find(part) != std::string::npos)
        return testing::AssertionSuccess() << "\"" << part << "\" is in: " << text;
    return testing::AssertionFailure() << "\"" << part << "\" is not in: " << text;
}

// Returns the answer with the lines of a log below it.
inline testing::AssertionResult SaidInLog(bool said, const std::vector<std::wstring>& lines)
{
    testing::AssertionResult answer = said ? testing::AssertionSuccess() : testing::AssertionFailure();
    answer << "the log says:";
    for (const std::wstring& line : lines)
        answer << "\n  " << Narrow(line);
    return answer;
}
