// The tables of an index database, and the check that a file is one. docs/index-database.md describes the format.
//
// Paths compare by the system's upper-case table, through a collation that must be registered on each connection. So
// one database index serves look-ups without regard to case and the range of everything below a folder.
//
// One thread at a time.
#pragma once

#include "companions/indexdb/IndexConnection.h"

namespace IndexSchema
{

constexpr int Version = 3;

// Registers the sort order of paths. Call it before any statement that uses paths.
void RegisterCollation(IndexConnection& connection);

// Returns false for a file without contents. Throws Corrupt for a file that is no index database, Newer for one of a
// later version. Reads only.
bool IsIndex(IndexConnection& connection);
// Adds what an older or a new database lacks to be written. Two processes may do so at once.
void Upgrade(IndexConnection& connection);
// Gives the database an identity when it has none. Two processes may do so at once.
void GiveIdentity(IndexConnection& connection);
// Returns the identity as 16 hexadecimal digits; empty when the database has none.
CString IdentityOf(IndexConnection& connection);
// Returns a query that reads the items in today's form, also from a database that was last written by an older version.
const char* ItemsQuery(IndexConnection& connection);
// Returns how many transactions have changed items; 0 for a database that no library of today has opened for writing.
std::int64_t ItemChanges(IndexConnection& connection);
// Counts the open transaction, which changes items.
void CountItemChange(IndexConnection& connection);
// Makes an index database of an empty file. Two processes may do so at once.
void Create(IndexConnection& connection);

extern const char* const CreatePlugins;
// The table is made with the first job of deletions.
extern const char* const CreateUnexported;

} // namespace IndexSchema
