#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/Assert.h"
#include "platform/packet/Pkt.h"
#include "platform/reactor/Ptr.h"

namespace Mrp {

// The name of a view's class as a template argument.
template <std::size_t N>
struct ViewName {
  constexpr ViewName(const char (&name)[N]) { std::copy_n(name, N, text); }
  char text[N];
};

// A wire record seen in place in a packet, `offset` octets after the packet's front. It keeps the
// packet alive; the record stays valid until the packet's front moves.
//
// A view needs 40 octets from its offset to the end of the data, whatever the size of its record,
// and asserts that it has them: look before making one on octets that a peer sent.
template <class Record, ViewName Name>
class PktView {
 public:
  static constexpr std::size_t kRoom = 40;
  static_assert(sizeof(Record) <= kRoom && alignof(Record) == 1);

  PktView(Platform::Ptr<Platform::Pkt> pkt, std::size_t offset)
      : pkt_(std::move(pkt)), offset_(offset) {
    handleHeader();
  }

  std::size_t offset() const { return offset_; }
  const Record* header() const { return header_; }
  void headerIs(const Record* header) { header_ = header; }

  // Points the header at the record; asserts that the view's room is there.
  void handleHeader() {
    const std::size_t front = pkt_->frontBytes();
    MRP_ASSERT_TEXT(front >= kRoom && offset_ <= front - kRoom, kAssertion.data());
    headerIs(reinterpret_cast<const Record*>(pkt_->data() + offset_));
  }

 private:
  // "( offset_ + sizeof( <Name> ) ) <= pkt_->frontBytes()"
  static constexpr auto kAssertion = [] {
    constexpr std::string_view parts[] = {"( offset_ + sizeof( ", Name.text,
                                          " ) ) <= pkt_->frontBytes()"};
    std::array<char, parts[0].size() + parts[1].size() + parts[2].size() + 1> text{};
    auto to = text.begin();
    for (std::string_view part : parts) to = std::copy(part.begin(), part.end(), to);
    return text;
  }();

  Platform::Ptr<Platform::Pkt> pkt_;
  std::size_t offset_;
  const Record* header_ = nullptr;
};

}  // namespace Mrp
