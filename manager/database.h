// SQLite with errors as exceptions, statements prepared once, and one transaction at a time.

#ifndef MANAGER_DATABASE_H_
#define MANAGER_DATABASE_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace manager {

// What went wrong with the database, in one line that names the file.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One open database file. Everything is done on one thread.
class Database {
 public:
  // Opens or creates the file for this process alone: another process that has it open is an error.
  // Commits are durable when commit() returns (write-ahead log, fsync at each commit).
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Statements without results, several separated by semicolons.
  void execute(const char* sql);

  // Starts a transaction unless one is open. What runs outside of one is its own transaction.
  void begin();
  // Ends the transaction, if one is open; durable when it returns. On an error the transaction is
  // still open or already gone; call rollback() either way.
  void commit();
  // Undoes what was not committed.
  void rollback();

  // Moves the log into the main file. Never throws; a failure is harmless (the log is read at the
  // next start).
  void checkpoint() noexcept;

  // Lets the log begin anew in the space that it has, where everything in it is in the main file by
  // then: a disk that is full may still have that much room. Never throws.
  void makeRoom() noexcept;

  const std::string& path() const { return path_; }

  // Rows that the last statement changed.
  std::int64_t changes() const;

 private:
  friend class Query;
  [[noreturn]] void fail(const char* what) const;
  sqlite3_stmt* prepared(const char* sql);

  std::string path_;
  sqlite3* db_ = nullptr;
  // Keyed by the literal's address: each place of the program that runs a statement has its own.
  std::unordered_map<const char*, sqlite3_stmt*> statements_;
};

// One run of a statement. REQUIRES: `sql` is a string literal; no other Query of the same literal
// is alive.
class Query {
 public:
  Query(Database& db, const char* sql);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Values for the question marks, from left to right.
  Query& bind(std::int64_t value);
  Query& bind(std::uint64_t value);  // kept as a signed number of the same bits
  Query& bind(std::string_view value);
  Query& bindNull();

  // Steps to the next row; false after the last.
  bool next();
  // Runs a statement that gives no rows.
  void run();

  // Columns of the row, from 0.
  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  std::uint64_t number(int column) const;
  std::string text(int column) const;

 private:
  Database& db_;
  sqlite3_stmt* statement_;
  int bound_ = 0;
};

}  // namespace manager

#endif  // MANAGER_DATABASE_H_
