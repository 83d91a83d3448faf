// Gives files and named objects to another account. A test has only one account: when one module of the product asks
// for an owner, all files and objects of one name belong to another account.
#pragma once

#include "tests/support/ImportedCall.h"

#include <string>

class AnotherAccount
{
public:
    // `name`: the last name of a path, or the name of an object without its namespace. A null module is the test
    // program itself.
    AnotherAccount(const wchar_t* module, std::wstring name);

private:
    const std::wstring m_name;
    const ImportedCall m_call;
};
