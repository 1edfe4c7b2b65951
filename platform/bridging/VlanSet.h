#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Platform {

inline constexpr std::uint16_t kMinVlan = 1;
inline constexpr std::uint16_t kMaxVlan = 4094;

// A set of VLAN identifiers. What is outside 1..4094 is never a member. Walking and combining sets
// costs what they have: most have few.
class VlanSet {
 public:
  static constexpr bool valid(std::uint64_t vlan) { return vlan >= kMinVlan && vlan <= kMaxVlan; }
  static constexpr VlanSet all() {
    VlanSet set;
    set.words_.fill(~std::uint64_t{0});
    set.words_.front() &= ~std::uint64_t{1};
    set.words_.back() &= ~(std::uint64_t{1} << 63);
    set.used_ = ~std::uint64_t{0};
    return set;
  }

  constexpr bool has(std::uint16_t vlan) const { return valid(vlan) && (word(vlan) & bit(vlan)); }
  constexpr void put(std::uint16_t vlan, bool member) {
    if (!valid(vlan)) return;
    const std::uint64_t before = word(vlan);
    wordIs(vlan / 64u, member ? before | bit(vlan) : before & ~bit(vlan));
  }
  constexpr bool empty() const { return used_ == 0; }
  constexpr std::size_t size() const {
    std::size_t n = 0;
    walkBits(used_, [&](unsigned i) { n += static_cast<std::size_t>(std::popcount(words_[i])); });
    return n;
  }
  constexpr void clear() {
    walkBits(used_, [&](unsigned i) { words_[i] = 0; });
    used_ = 0;
  }

  constexpr VlanSet& operator|=(const VlanSet& other) {
    walkBits(other.used_, [&](unsigned i) { wordIs(i, words_[i] | other.words_[i]); });
    return *this;
  }
  // Takes the other's members out.
  constexpr VlanSet& operator-=(const VlanSet& other) {
    walkBits(used_ & other.used_, [&](unsigned i) { wordIs(i, words_[i] & ~other.words_[i]); });
    return *this;
  }
  constexpr VlanSet& operator&=(const VlanSet& other) {
    walkBits(used_, [&](unsigned i) { wordIs(i, words_[i] & other.words_[i]); });
    return *this;
  }
  friend constexpr VlanSet operator&(VlanSet a, const VlanSet& b) { return a &= b; }
  friend constexpr VlanSet operator|(VlanSet a, const VlanSet& b) { return a |= b; }
  friend constexpr VlanSet operator-(VlanSet a, const VlanSet& b) { return a -= b; }
  friend constexpr bool operator==(const VlanSet&, const VlanSet&) = default;

  // Visits the members in ascending order. The set stays as it is meanwhile.
  template <class Visit>
  void walk(Visit visit) const {
    walkBits(used_, [&](unsigned i) {
      walkBits(words_[i], [&](unsigned at) { visit(static_cast<std::uint16_t>(i * 64 + at)); });
    });
  }

 private:
  constexpr std::uint64_t word(std::uint16_t vlan) const { return words_[vlan / 64u]; }
  static constexpr std::uint64_t bit(std::uint16_t vlan) { return std::uint64_t{1} << vlan % 64u; }

  template <class Visit>
  static constexpr void walkBits(std::uint64_t bits, Visit visit) {
    for (; bits; bits &= bits - 1) visit(static_cast<unsigned>(std::countr_zero(bits)));
  }
  constexpr void wordIs(unsigned i, std::uint64_t word) {
    const std::uint64_t place = std::uint64_t{1} << i;
    words_[i] = word;
    used_ = word ? used_ | place : used_ & ~place;
  }

  std::array<std::uint64_t, 64> words_{};
  std::uint64_t used_ = 0;  // a bit for each word that is not 0
};

}  // namespace Platform
