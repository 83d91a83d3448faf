// Advice about an index that cannot be used. Any thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

const wchar_t* IndexAdvice(CIndexDB::Error error);
