#include "agent/daemon/state/Database.h"

#include <sqlite3.h>

namespace Daemon {
namespace {

constexpr int kBusyMs = 2000;
constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS record(
  application INTEGER, port TEXT, type INTEGER, key INTEGER,
  declared INTEGER, registered INTEGER, value BLOB,
  PRIMARY KEY(application, port, type, key)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS claim(
  port TEXT PRIMARY KEY, ifindex INTEGER, boot TEXT, vlans BLOB) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS stream(
  port TEXT, ifindex INTEGER, boot TEXT, key INTEGER,
  PRIMARY KEY(port, ifindex, boot, key)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS text(name TEXT PRIMARY KEY, text BLOB) WITHOUT ROWID;
)";

}  // namespace

class Database::Statement {
 public:
  Statement(const Database& of, const char* sql) : of_(of) {
    if (sqlite3_prepare_v2(of.db_, sql, -1, &statement_, nullptr) != SQLITE_OK) of.fail();
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(std::int64_t number) {
    check(sqlite3_bind_int64(statement_, ++bound_, number));
    return *this;
  }
  // What is bound stays where it is until the statement has run.
  Statement& bind(const std::string& text) {
    check(sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()),
                            SQLITE_STATIC));
    return *this;
  }
  Statement& bind(const std::vector<std::uint8_t>& octets) {
    check(sqlite3_bind_blob(statement_, ++bound_,
                            octets.empty() ? "" : static_cast<const void*>(octets.data()),
                            static_cast<int>(octets.size()), SQLITE_STATIC));
    return *this;
  }
  // True when there is a row.
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) of_.fail();
    return result == SQLITE_ROW;
  }

  std::int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string text(int column) const {
    const auto* text = sqlite3_column_text(statement_, column);
    return text ? std::string(reinterpret_cast<const char*>(text), size(column)) : std::string();
  }
  std::vector<std::uint8_t> octets(int column) const {
    const auto* octets = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
    if (!octets) return {};
    return {octets, octets + size(column)};
  }

 private:
  std::size_t size(int column) const {
    return static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  }
  void check(int result) const {
    if (result != SQLITE_OK) of_.fail();
  }

  const Database& of_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

Database::Database(const std::string& path, const std::string& bootId) : bootId_(bootId) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  try {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) fail();
    sqlite3_busy_timeout(db_, kBusyMs);
    // Whoever reads it while taking over has no time to put it in order.
    sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=NORMAL");
    exec(kSchema);
  } catch (...) {
    sqlite3_close(db_);
    throw;
  }
}

Database::~Database() { sqlite3_close(db_); }

void Database::fail() const { throw DatabaseError(db_ ? sqlite3_errmsg(db_) : "out of memory"); }

void Database::exec(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::write(std::span<const Entry> entries) {
  exec("BEGIN IMMEDIATE");
  try {
    for (const Entry& entry : entries) apply(entry);
    exec("COMMIT");
  } catch (...) {
    sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void Database::probe() {
  exec("BEGIN IMMEDIATE");
  exec("REPLACE INTO text(name, text) VALUES('probe', randomblob(16))");
  exec("COMMIT");
}

void Database::apply(const Entry& entry) {
  switch (entry.kind) {
    case Entry::Kind::record:
      if (entry.present()) {
        Statement(*this, "REPLACE INTO record VALUES(?, ?, ?, ?, ?, ?, ?)")
            .bind(entry.application)
            .bind(entry.name)
            .bind(entry.type)
            .bind(static_cast<std::int64_t>(entry.key))
            .bind(entry.declared)
            .bind(entry.registered)
            .bind(entry.octets)
            .step();
      } else {
        Statement(*this,
                  "DELETE FROM record WHERE application = ? AND port = ? AND type = ? AND key = ?")
            .bind(entry.application)
            .bind(entry.name)
            .bind(entry.type)
            .bind(static_cast<std::int64_t>(entry.key))
            .step();
      }
      break;
    case Entry::Kind::claim:
    case Entry::Kind::claimsGone:
      applyClaims(entry);
      break;
    case Entry::Kind::streamClaim:
    case Entry::Kind::streamClaimGone:
      applyStreamClaim(entry);
      break;
    case Entry::Kind::text:
      Statement(*this, "REPLACE INTO text VALUES(?, ?)").bind(entry.name).bind(entry.octets).step();
      break;
    case Entry::Kind::clear:
      exec("DELETE FROM record; DELETE FROM claim; DELETE FROM stream; DELETE FROM text");
      break;
    case Entry::Kind::end:
      break;
  }
}

// Claims of another interface of that name, or of another boot, are void.
void Database::applyClaims(const Entry& entry) {
  Mrp::VlanSet vlans;
  {
    Statement row(*this, "SELECT vlans FROM claim WHERE port = ? AND ifindex = ? AND boot = ?");
    row.bind(entry.name).bind(entry.ifindex).bind(bootId_);
    if (row.step()) vlans = vlansOf(row.octets(0));
  }
  const Mrp::VlanSet named = vlansOf(entry.octets);
  vlans = entry.kind == Entry::Kind::claim ? vlans | named : vlans - named;
  if (vlans.empty()) {
    Statement(*this, "DELETE FROM claim WHERE port = ?").bind(entry.name).step();
    return;
  }
  const auto octets = octetsOf(vlans);
  Statement(*this, "REPLACE INTO claim VALUES(?, ?, ?, ?)")
      .bind(entry.name)
      .bind(entry.ifindex)
      .bind(bootId_)
      .bind(octets)
      .step();
}

void Database::applyStreamClaim(const Entry& entry) {
  const char* const sql =
      entry.kind == Entry::Kind::streamClaim
          ? "REPLACE INTO stream VALUES(?, ?, ?, ?)"
          : "DELETE FROM stream WHERE port = ? AND ifindex = ? AND boot = ? AND key = ?";
  Statement(*this, sql)
      .bind(entry.name)
      .bind(entry.ifindex)
      .bind(bootId_)
      .bind(static_cast<std::int64_t>(entry.key))
      .step();
}

std::vector<Entry> Database::read() {
  std::vector<Entry> entries;
  Statement texts(*this, "SELECT name, text FROM text");
  while (texts.step()) {
    Entry entry{.kind = Entry::Kind::text};
    entry.name = texts.text(0);
    entry.octets = texts.octets(1);
    entries.push_back(std::move(entry));
  }
  Statement claims(*this, "SELECT port, ifindex, vlans FROM claim WHERE boot = ?");
  claims.bind(bootId_);
  while (claims.step()) {
    Entry entry{.kind = Entry::Kind::claim};
    entry.name = claims.text(0);
    entry.ifindex = static_cast<std::uint32_t>(claims.number(1));
    entry.octets = claims.octets(2);
    entries.push_back(std::move(entry));
  }
  Statement streams(*this, "SELECT port, ifindex, key FROM stream WHERE boot = ?");
  streams.bind(bootId_);
  while (streams.step()) {
    Entry entry{.kind = Entry::Kind::streamClaim};
    entry.name = streams.text(0);
    entry.ifindex = static_cast<std::uint32_t>(streams.number(1));
    entry.key = static_cast<std::uint64_t>(streams.number(2));
    entries.push_back(std::move(entry));
  }
  Statement records(*this,
                    "SELECT application, port, type, key, declared, registered, value FROM record");
  while (records.step()) {
    Entry entry{.kind = Entry::Kind::record};
    entry.application = static_cast<std::uint8_t>(records.number(0));
    entry.name = records.text(1);
    entry.type = static_cast<std::uint8_t>(records.number(2));
    entry.key = static_cast<std::uint64_t>(records.number(3));
    entry.declared = records.number(4) != 0;
    entry.registered = records.number(5) != 0;
    entry.octets = records.octets(6);
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace Daemon
