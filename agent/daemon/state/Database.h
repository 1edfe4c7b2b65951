#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/daemon/state/Entry.h"

struct sqlite3;

namespace Daemon {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The SQLite database that entries end in. Whatever fails throws DatabaseError.
class Database {
 public:
  // Made where there is none.
  Database(const std::string& path, const std::string& bootId);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // All of them, or none.
  void write(std::span<const Entry> entries);
  // Everything there is; claims of another boot are void.
  std::vector<Entry> read();
  // Whether something can be written at all.
  void probe();

 private:
  class Statement;
  void exec(const char* sql);
  void apply(const Entry& entry);
  void applyClaims(const Entry& entry);
  void applyStreamClaim(const Entry& entry);
  [[noreturn]] void fail() const;

  sqlite3* db_ = nullptr;
  std::string bootId_;
};

}  // namespace Daemon
