#include "manager/database.h"

#include <sqlite3.h>

#include <cstring>

namespace manager {

namespace {

// The main file grows by this much at once: when the disk is full there is room in it, so that the
// log can be emptied into it and begin anew.
constexpr int kChunkBytes = 262144;

constexpr const char* kRollback = "ROLLBACK";

// The log is cut back to this size after a checkpoint.
constexpr const char* kOpenStatements =
    "PRAGMA locking_mode = EXCLUSIVE;"
    "PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = FULL;"
    "PRAGMA journal_size_limit = 4194304;"
    "PRAGMA temp_store = MEMORY;";

}  // namespace

Database::Database(const std::string& path) : path_(path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  try {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) fail("cannot open");
    sqlite3_extended_result_codes(db_, 1);
    int chunkBytes = kChunkBytes;
    sqlite3_file_control(db_, "main", SQLITE_FCNTL_CHUNK_SIZE, &chunkBytes);
    execute(kOpenStatements);
    // Exclusive locking takes the lock with the first write: take it now, so that a second manager
    // is told at its start.
    execute("BEGIN IMMEDIATE; COMMIT;");
    // At hand when memory is missing: what cannot be undone would be committed with the next group.
    prepared(kRollback);
  } catch (...) {
    sqlite3_close(db_);
    throw;
  }
}

Database::~Database() {
  for (const auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  sqlite3_close(db_);
}

void Database::fail(const char* what) const {
  const int code = db_ ? sqlite3_errcode(db_) & 0xff : SQLITE_NOMEM;
  const int system = db_ ? sqlite3_system_errno(db_) : 0;
  std::string text = "database " + path_ + ": " + what + ": ";
  if (code == SQLITE_BUSY) {
    text += "another process has it open";
  } else if (code == SQLITE_FULL) {
    text += "the disk is full";
  } else {
    text += db_ ? sqlite3_errmsg(db_) : "out of memory";
    if (system != 0) text += std::string(" (") + std::strerror(system) + ")";
  }
  if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
    text += "; put a copy in its place, or move it away to begin with an empty one";
  }
  throw StoreError(text);
}

void Database::execute(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail("cannot execute");
}

void Database::begin() {
  if (sqlite3_get_autocommit(db_)) execute("BEGIN IMMEDIATE");
}

void Database::commit() {
  if (!sqlite3_get_autocommit(db_)) execute("COMMIT");
}

void Database::rollback() {
  // Some errors (a full disk among them) have rolled back already.
  if (!sqlite3_get_autocommit(db_)) Query(*this, kRollback).run();
}

void Database::checkpoint() noexcept {
  sqlite3_wal_checkpoint_v2(db_, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}

void Database::makeRoom() noexcept {
  sqlite3_wal_checkpoint_v2(db_, nullptr, SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
}

std::int64_t Database::changes() const { return sqlite3_changes64(db_); }

sqlite3_stmt* Database::prepared(const char* sql) {
  sqlite3_stmt*& statement = statements_[sql];
  if (!statement && sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                                       nullptr) != SQLITE_OK) {
    fail("cannot prepare");
  }
  return statement;
}

Query::Query(Database& db, const char* sql) : db_(db), statement_(db.prepared(sql)) {}

Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

Query& Query::bind(std::int64_t value) {
  if (sqlite3_bind_int64(statement_, ++bound_, value) != SQLITE_OK) db_.fail("cannot bind");
  return *this;
}

Query& Query::bind(std::uint64_t value) { return bind(static_cast<std::int64_t>(value)); }

Query& Query::bind(std::string_view value) {
  if (sqlite3_bind_text64(statement_, ++bound_, value.data() ? value.data() : "", value.size(),
                          SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
    db_.fail("cannot bind");
  }
  return *this;
}

Query& Query::bindNull() {
  if (sqlite3_bind_null(statement_, ++bound_) != SQLITE_OK) db_.fail("cannot bind");
  return *this;
}

bool Query::next() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) db_.fail("cannot read or write");
  return false;
}

void Query::run() {
  while (next()) {
  }
}

bool Query::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Query::integer(int column) const { return sqlite3_column_int64(statement_, column); }

std::uint64_t Query::number(int column) const {
  return static_cast<std::uint64_t>(integer(column));
}

std::string Query::text(int column) const {
  const void* bytes = sqlite3_column_blob(statement_, column);
  const int length = sqlite3_column_bytes(statement_, column);
  return bytes ? std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(length))
               : std::string();
}

}  // namespace manager
