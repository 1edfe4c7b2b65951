#pragma once

#include <optional>

#include "agent/account/Record.h"
#include "cli/page/PageData.h"
#include "cli/page/RecordText.h"

namespace Cli {

// The fact that a record is on the page; the place and the meaning of its cause are its own.
PageData::Kind factOf(const Mrp::Accounts::Record& record);

// Adds the records of an account to a page, in their order. Fact n is the n-th record added.
class RecordFacts {
 public:
  RecordFacts(PageData& data, const RecordSource& records) : data_(data), records_(records) {}

  // Rows are those of records that move a machine: known in advance, they stand for requests too.
  void addRow(const Mrp::Accounts::Record& record);
  // Of a frame, `frame` is the number of its text. `cause` is a fact.
  void add(const Mrp::Accounts::Record& record, std::uint32_t frame,
           std::optional<PageData::Id> cause);

 private:
  PageData::Place placeOf(const Mrp::Accounts::Record& record);

  PageData& data_;
  const RecordSource& records_;
};

}  // namespace Cli
