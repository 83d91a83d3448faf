#include "host/IndexAdvice.h"

const wchar_t* IndexAdvice(CIndexDB::Error error)
{
    using Error = CIndexDB::Error;
    switch (error) {
    case Error::NotFound:
        return L"is its folder there?";
    case Error::Locked:
        return L"is another orbwatch using it?";
    case Error::ReadOnly:
        return L"make it writable, or leave out --record";
    case Error::Corrupt:
        return L"is it the right file? Without it everything counts as new: move it away to start anew";
    case Error::Newer:
        return L"use the orbwatch that has written it, or a newer one";
    case Error::Full:
        return L"make room on its drive";
    default:
        return L"orbwatch doctor looks at it more closely";
    }
}
