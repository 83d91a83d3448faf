// The tables of an index database, and telling an index database from other files.
// The format is described in docs/index-database.md.
//
// Paths compare by the system's upper-case table, through a collation that must
// be registered on each connection: so one index serves look-ups without regard to
// case and the range of everything below a folder.
//
// One thread at a time.
#pragma once

#include "companions/indexdb/IndexConnection.h"

namespace IndexSchema
{

constexpr int Version = 2;

// The sort order of paths. Before any statement that uses them.
void RegisterCollation(IndexConnection& connection);

// False for a file that has nothing in it yet. Throws Corrupt for what is no index database, Newer for
// one of a later version. Reads only.
bool IsIndex(IndexConnection& connection);
// Of one that may be older: adds what it lacks. Two processes may do so at once.
void Upgrade(IndexConnection& connection);
// What reads a table of items as today's, also of a database that nobody has written to since an older version.
const char* ItemsQuery(IndexConnection& connection);
// Makes an index database of an empty file. Two processes may do so at once.
void Create(IndexConnection& connection);

extern const char* const CreatePlugins;
// Made with the first job of deletions.
extern const char* const CreateUnexported;

} // namespace IndexSchema
