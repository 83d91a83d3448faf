// The records that orbwatch prints. Each kind is one struct with its name and meaning (Kind), its JSON fields (Fields)
// and its text for people (Line): one line or more, without the last newline; empty when people see nothing.
// A record may refer to what it is made from, so print it at once. One thread.
#pragma once

#include "host/Console.h"
#include "host/records/RecordKind.h"
#include "host/records/RecordText.h"

#include <nlohmann/json.hpp>

using RecordFields = nlohmann::ordered_json;
