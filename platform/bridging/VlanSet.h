#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Platform {

inline constexpr std::uint16_t kMinVlan = 1;
inline constexpr std::uint16_t kMaxVlan = 4094;

// A set of VLAN identifiers. What is outside 1..4094 is never a member.
class VlanSet {
 public:
  static constexpr bool valid(std::uint64_t vlan) { return vlan >= kMinVlan && vlan <= kMaxVlan; }
  static constexpr VlanSet all() {
    VlanSet set;
    set.words_.fill(~std::uint64_t{0});
    set.words_.front() &= ~std::uint64_t{1};
    set.words_.back() &= ~(std::uint64_t{1} << 63);
    return set;
  }

  constexpr bool has(std::uint16_t vlan) const { return valid(vlan) && (word(vlan) & bit(vlan)); }
  constexpr void put(std::uint16_t vlan, bool member) {
    if (!valid(vlan)) return;
    std::uint64_t& w = words_[vlan / 64u];
    w = member ? w | bit(vlan) : w & ~bit(vlan);
  }
  constexpr bool empty() const { return *this == VlanSet(); }
  constexpr std::size_t size() const {
    std::size_t n = 0;
    for (const std::uint64_t w : words_) n += static_cast<std::size_t>(std::popcount(w));
    return n;
  }

  constexpr VlanSet& operator|=(const VlanSet& other) {
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] |= other.words_[i];
    return *this;
  }
  // Takes the other's members out.
  constexpr VlanSet& operator-=(const VlanSet& other) {
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] &= ~other.words_[i];
    return *this;
  }
  constexpr VlanSet& operator&=(const VlanSet& other) {
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] &= other.words_[i];
    return *this;
  }
  friend constexpr VlanSet operator&(VlanSet a, const VlanSet& b) { return a &= b; }
  friend constexpr VlanSet operator|(VlanSet a, const VlanSet& b) { return a |= b; }
  friend constexpr VlanSet operator-(VlanSet a, const VlanSet& b) { return a -= b; }
  friend constexpr bool operator==(const VlanSet&, const VlanSet&) = default;

  // Visits the members in ascending order; `visit` may change the set it came from.
  template <class Visit>
  void walk(Visit visit) const {
    const auto words = words_;
    for (std::size_t i = 0; i < words.size(); ++i) {
      for (std::uint64_t w = words[i]; w; w &= w - 1) {
        visit(static_cast<std::uint16_t>(i * 64 + static_cast<unsigned>(std::countr_zero(w))));
      }
    }
  }

 private:
  constexpr std::uint64_t word(std::uint16_t vlan) const { return words_[vlan / 64u]; }
  static constexpr std::uint64_t bit(std::uint16_t vlan) { return std::uint64_t{1} << vlan % 64u; }

  std::array<std::uint64_t, 64> words_{};
};

}  // namespace Platform
