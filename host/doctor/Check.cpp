#include "host/doctor/Check.h"

const char* NameOf(Check::State state)
{
    switch (state) {
    case Check::State::Ok:
        return "ok";
    case Check::State::Warning:
        return "warning";
    case Check::State::Failed:
        break;
    }
    return "failed";
}
