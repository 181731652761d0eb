// The tables of the store and their upgrades.

#ifndef MANAGER_SCHEMA_H_
#define MANAGER_SCHEMA_H_

#include "manager/database.h"

namespace manager {

// Creates the tables of a new database, with the two profiles that always exist ("default" and
// "trial"). Throws StoreError, also for a database of a newer version than this program knows.
void prepareSchema(Database& db);

}  // namespace manager

#endif  // MANAGER_SCHEMA_H_
