#pragma once

#include <cstdint>
#include <span>

#include "platform/Export.h"

namespace Platform {

// One instruction of a classic socket filter, in the kernel's layout (struct sock_filter): `jt` and
// `jf` are the numbers of instructions to skip.
struct FilterInstruction {
  std::uint16_t code = 0;
  std::uint8_t jt = 0;
  std::uint8_t jf = 0;
  std::uint32_t k = 0;
  friend bool operator==(const FilterInstruction&, const FilterInstruction&) = default;
};

// Operation codes, as the kernel numbers them.
namespace FilterCode {
inline constexpr std::uint16_t kLoadWordAbs = 0x20;
inline constexpr std::uint16_t kLoadHalfAbs = 0x28;
inline constexpr std::uint16_t kLoadByteAbs = 0x30;
inline constexpr std::uint16_t kLoadWordInd = 0x40;
inline constexpr std::uint16_t kLoadHalfInd = 0x48;
inline constexpr std::uint16_t kLoadByteInd = 0x50;
inline constexpr std::uint16_t kLoadImm = 0x00;
inline constexpr std::uint16_t kLoadLen = 0x80;
inline constexpr std::uint16_t kLoadMem = 0x60;
inline constexpr std::uint16_t kLoadXImm = 0x01;
inline constexpr std::uint16_t kLoadXLen = 0x81;
inline constexpr std::uint16_t kLoadXMem = 0x61;
inline constexpr std::uint16_t kLoadXIpHeader = 0xb1;
inline constexpr std::uint16_t kStore = 0x02;
inline constexpr std::uint16_t kStoreX = 0x03;
inline constexpr std::uint16_t kJump = 0x05;
inline constexpr std::uint16_t kJumpEqual = 0x15;
inline constexpr std::uint16_t kJumpGreater = 0x25;
inline constexpr std::uint16_t kJumpGreaterEqual = 0x35;
inline constexpr std::uint16_t kJumpSet = 0x45;
inline constexpr std::uint16_t kJumpEqualX = 0x1d;
inline constexpr std::uint16_t kJumpGreaterX = 0x2d;
inline constexpr std::uint16_t kJumpGreaterEqualX = 0x3d;
inline constexpr std::uint16_t kJumpSetX = 0x4d;
inline constexpr std::uint16_t kAddK = 0x04;
inline constexpr std::uint16_t kAddX = 0x0c;
inline constexpr std::uint16_t kSubK = 0x14;
inline constexpr std::uint16_t kSubX = 0x1c;
inline constexpr std::uint16_t kMulK = 0x24;
inline constexpr std::uint16_t kMulX = 0x2c;
inline constexpr std::uint16_t kDivK = 0x34;
inline constexpr std::uint16_t kDivX = 0x3c;
inline constexpr std::uint16_t kOrK = 0x44;
inline constexpr std::uint16_t kOrX = 0x4c;
inline constexpr std::uint16_t kAndK = 0x54;
inline constexpr std::uint16_t kAndX = 0x5c;
inline constexpr std::uint16_t kLshK = 0x64;
inline constexpr std::uint16_t kLshX = 0x6c;
inline constexpr std::uint16_t kRshK = 0x74;
inline constexpr std::uint16_t kRshX = 0x7c;
inline constexpr std::uint16_t kNeg = 0x84;
inline constexpr std::uint16_t kModK = 0x94;
inline constexpr std::uint16_t kModX = 0x9c;
inline constexpr std::uint16_t kXorK = 0xa4;
inline constexpr std::uint16_t kXorX = 0xac;
inline constexpr std::uint16_t kReturn = 0x06;
inline constexpr std::uint16_t kReturnA = 0x16;
inline constexpr std::uint16_t kTax = 0x07;
inline constexpr std::uint16_t kTxa = 0x87;
}  // namespace FilterCode

// Runs `program` on a frame and gives the number of octets to accept; 0 drops it. A load beyond the
// frame drops it, as in the kernel, and so does a division by zero or a program that is not valid
// (`filterIsValid`).
MRP_API std::uint32_t runSocketFilter(std::span<const FilterInstruction> program,
                                      std::span<const std::uint8_t> frame);

// What the kernel asks of a program: 1 to 4096 known operations with operands in range, every jump
// lands inside the program, no scratch word is read before it is written, and the last instruction
// returns.
MRP_API bool filterIsValid(std::span<const FilterInstruction> program);

}  // namespace Platform
