// The C interface as data: its structs with the places of their fields, its functions and its constants.
#pragma once

#include <nlohmann/json.hpp>

// Returns the table of this build. Each struct has its size, and each field its offset, size and type; a function has
// its result and the types of its parameters.
nlohmann::ordered_json AbiTable();
