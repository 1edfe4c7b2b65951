#include "agent/account/FrameRing.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Mrp::Accounts {

// No engine takes longer frames.
constexpr std::size_t kLongest = 10000;

FrameRing::Header FrameRing::headerAt(std::size_t at) const {
  Header header;
  std::memcpy(&header, buffer_.get() + at, sizeof header);
  return header;
}

FrameRing::Frame FrameRing::frameAt(std::size_t at, std::uint64_t number) const {
  const Header h = headerAt(at);
  return {number,        Platform::Seconds::fromNanoseconds(h.time), h.intf, h.received,
          h.application, {buffer_.get() + at + sizeof h, h.length}};
}

std::size_t FrameRing::behind(std::size_t at) const {
  at += sizeof(Header) + headerAt(at).length;
  return wrapped_ && at == wrap_ ? 0 : at;
}

void FrameRing::drop() {
  const std::size_t next = begin_ + sizeof(Header) + headerAt(begin_).length;
  --count_;
  begin_ = next;
  if (!wrapped_ || next != wrap_) return;
  begin_ = 0;
  wrapped_ = false;
}

// Frames stand in one piece: what does not fit behind the newest goes to the front.
bool FrameRing::makeRoom(std::size_t octets) {
  if (octets > octets_) return false;
  for (;;) {
    if (wrapped_) {
      if (begin_ - end_ >= octets) return true;
      drop();
      continue;
    }
    if (octets_ - end_ >= octets) return true;
    if (count_ == 0) {
      begin_ = end_ = 0;
      continue;
    }
    wrap_ = std::exchange(end_, 0);
    wrapped_ = true;
  }
}

void FrameRing::add(Platform::Seconds time, IntfId intf, bool received, MrpApplication application,
                    std::span<const std::uint8_t> octets) {
  const std::size_t length = std::min(octets.size(), kLongest);
  if (!makeRoom(sizeof(Header) + length)) return;
  const Header header{time.nanoseconds(), intf, static_cast<std::uint32_t>(length), application,
                      received};
  std::memcpy(buffer_.get() + end_, &header, sizeof header);
  if (length > 0) std::memcpy(buffer_.get() + end_ + sizeof header, octets.data(), length);
  end_ += sizeof header + length;
  ++count_;
  ++last_;
}

}  // namespace Mrp::Accounts
