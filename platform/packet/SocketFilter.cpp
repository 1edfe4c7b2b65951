#include "platform/packet/SocketFilter.h"

#include <algorithm>
#include <array>
#include <vector>

namespace Platform {
namespace {

constexpr std::size_t kScratchWords = 16;
constexpr std::size_t kMaxInstructions = 4096;

// An operation code is a class and, in an arithmetic or a jump instruction, an operation whose
// operand is K or X.
constexpr std::uint16_t kClassMask = 0x07;
constexpr std::uint16_t kClassAlu = 0x04;
constexpr std::uint16_t kClassJump = 0x05;
constexpr std::uint16_t kOperationMask = 0xf0;
constexpr std::uint16_t kOperandX = 0x08;

using namespace FilterCode;

class Machine {
 public:
  Machine(std::span<const FilterInstruction> program, std::span<const std::uint8_t> frame)
      : program_(program), frame_(frame) {}

  std::uint32_t run() {
    while (true) {
      const FilterInstruction& in = program_[pc_++];
      if (in.code == kReturn) return in.k;
      if (in.code == kReturnA) return a_;
      if (!step(in)) return 0;
    }
  }

 private:
  // False drops the frame.
  bool step(const FilterInstruction& in) {
    switch (in.code & kClassMask) {
      case kClassAlu:
        return compute(in);
      case kClassJump:
        jump(in);
        return true;
      default:
        return move(in);
    }
  }

  bool move(const FilterInstruction& in) {
    switch (in.code) {
      case kLoadWordAbs:
        return load(a_, in.k, 4);
      case kLoadHalfAbs:
        return load(a_, in.k, 2);
      case kLoadByteAbs:
        return load(a_, in.k, 1);
      case kLoadWordInd:
        return load(a_, x_ + in.k, 4);
      case kLoadHalfInd:
        return load(a_, x_ + in.k, 2);
      case kLoadByteInd:
        return load(a_, x_ + in.k, 1);
      case kLoadXIpHeader:
        if (!load(x_, in.k, 1)) return false;
        x_ = (x_ & 15) * 4;
        return true;
      default:
        registers(in);
        return true;
    }
  }

  void registers(const FilterInstruction& in) {
    const auto length = static_cast<std::uint32_t>(frame_.size());
    switch (in.code) {
      case kLoadImm:
        a_ = in.k;
        break;
      case kLoadLen:
        a_ = length;
        break;
      case kLoadMem:
        a_ = scratch_[in.k];
        break;
      case kLoadXImm:
        x_ = in.k;
        break;
      case kLoadXLen:
        x_ = length;
        break;
      case kLoadXMem:
        x_ = scratch_[in.k];
        break;
      case kStore:
        scratch_[in.k] = a_;
        break;
      case kStoreX:
        scratch_[in.k] = x_;
        break;
      case kTax:
        x_ = a_;
        break;
      case kTxa:
        a_ = x_;
        break;
      default:
        break;
    }
  }

  bool load(std::uint32_t& to, std::uint32_t offset, std::size_t octets) const {
    if (frame_.size() < octets || offset > frame_.size() - octets) return false;
    std::uint32_t value = 0;
    for (const std::uint8_t octet : frame_.subspan(offset, octets)) value = value << 8 | octet;
    to = value;
    return true;
  }

  bool compute(const FilterInstruction& in) {
    const std::uint32_t operand = in.code & kOperandX ? x_ : in.k;
    switch (in.code & kOperationMask) {
      case kAddK& kOperationMask:
        a_ += operand;
        break;
      case kSubK& kOperationMask:
        a_ -= operand;
        break;
      case kMulK& kOperationMask:
        a_ *= operand;
        break;
      case kDivK& kOperationMask:
        if (operand == 0) return false;
        a_ /= operand;
        break;
      case kModK& kOperationMask:
        if (operand == 0) return false;
        a_ %= operand;
        break;
      case kOrK& kOperationMask:
        a_ |= operand;
        break;
      case kAndK& kOperationMask:
        a_ &= operand;
        break;
      case kXorK& kOperationMask:
        a_ ^= operand;
        break;
      case kLshK& kOperationMask:
        a_ <<= operand & 31;
        break;
      case kRshK& kOperationMask:
        a_ >>= operand & 31;
        break;
      default:
        a_ = 0 - a_;
        break;
    }
    return true;
  }

  void jump(const FilterInstruction& in) {
    if (in.code == kJump) {
      pc_ += in.k;
      return;
    }
    const std::uint32_t operand = in.code & kOperandX ? x_ : in.k;
    bool taken = false;
    switch (in.code & kOperationMask) {
      case kJumpEqual& kOperationMask:
        taken = a_ == operand;
        break;
      case kJumpGreater& kOperationMask:
        taken = a_ > operand;
        break;
      case kJumpGreaterEqual& kOperationMask:
        taken = a_ >= operand;
        break;
      default:
        taken = (a_ & operand) != 0;
        break;
    }
    pc_ += taken ? in.jt : in.jf;
  }

  std::span<const FilterInstruction> program_;
  std::span<const std::uint8_t> frame_;
  std::size_t pc_ = 0;
  std::uint32_t a_ = 0;
  std::uint32_t x_ = 0;
  std::array<std::uint32_t, kScratchWords> scratch_{};
};

bool isConditionalJump(std::uint16_t code) {
  return (code & kClassMask) == kClassJump && code != kJump;
}

// The operation is known and its operand in range; where jumps lead is not looked at.
bool operandIsValid(const FilterInstruction& in) {
  switch (in.code) {
    case kLoadMem:
    case kLoadXMem:
    case kStore:
    case kStoreX:
      return in.k < kScratchWords;
    case kDivK:
    case kModK:
      return in.k != 0;
    case kLshK:
    case kRshK:
      return in.k < 32;
    case kLoadWordAbs:
    case kLoadHalfAbs:
    case kLoadByteAbs:
    case kLoadWordInd:
    case kLoadHalfInd:
    case kLoadByteInd:
    case kLoadImm:
    case kLoadLen:
    case kLoadXImm:
    case kLoadXLen:
    case kLoadXIpHeader:
    case kJump:
    case kJumpEqual:
    case kJumpGreater:
    case kJumpGreaterEqual:
    case kJumpSet:
    case kJumpEqualX:
    case kJumpGreaterX:
    case kJumpGreaterEqualX:
    case kJumpSetX:
    case kReturn:
    case kReturnA:
    case kTax:
    case kTxa:
    case kAddK:
    case kAddX:
    case kSubK:
    case kSubX:
    case kMulK:
    case kMulX:
    case kDivX:
    case kModX:
    case kOrK:
    case kOrX:
    case kAndK:
    case kAndX:
    case kXorK:
    case kXorX:
    case kLshX:
    case kRshX:
    case kNeg:
      return true;
    default:
      return false;
  }
}

// Whether every jump of the instruction at `pc` leads to an instruction of a program of `size`.
bool jumpIsValid(const FilterInstruction& in, std::size_t pc, std::size_t size) {
  const std::size_t left = size - pc - 1;
  if (in.code == kJump) return in.k < left;
  if (isConditionalJump(in.code)) return in.jt < left && in.jf < left;
  return true;
}

bool readsScratch(const FilterInstruction& in) {
  return in.code == kLoadMem || in.code == kLoadXMem;
}

// Whether no path reads a scratch word that it has not written. One bit a word; a jump hands what
// is written on its path on to its target.
bool scratchIsValid(std::span<const FilterInstruction> program) {
  if (std::ranges::none_of(program, readsScratch)) return true;
  constexpr std::uint16_t kAll = 0xffff;
  std::vector<std::uint16_t> arriving(program.size(), kAll);
  std::uint16_t written = 0;
  const auto jumpTo = [&](std::size_t target) { arriving[target] &= written; };
  for (std::size_t pc = 0; pc < program.size(); ++pc) {
    const FilterInstruction& in = program[pc];
    written &= arriving[pc];
    if (in.code == kStore || in.code == kStoreX) {
      written = static_cast<std::uint16_t>(written | 1u << in.k);
    } else if (readsScratch(in)) {
      if (!(written >> in.k & 1)) return false;
    } else if (in.code == kJump) {
      jumpTo(pc + 1 + in.k);
      written = kAll;
    } else if (isConditionalJump(in.code)) {
      jumpTo(pc + 1 + in.jt);
      jumpTo(pc + 1 + in.jf);
      written = kAll;
    }
  }
  return true;
}

bool stepsAreValid(std::span<const FilterInstruction> program) {
  if (program.empty() || program.size() > kMaxInstructions) return false;
  for (std::size_t pc = 0; pc < program.size(); ++pc) {
    if (!operandIsValid(program[pc]) || !jumpIsValid(program[pc], pc, program.size())) return false;
  }
  return program.back().code == kReturn || program.back().code == kReturnA;
}

}  // namespace

std::uint32_t runSocketFilter(std::span<const FilterInstruction> program,
                              std::span<const std::uint8_t> frame) {
  if (!filterIsValid(program)) return 0;
  return Machine(program, frame).run();
}

bool filterIsValid(std::span<const FilterInstruction> program) {
  return stepsAreValid(program) && scratchIsValid(program);
}

}  // namespace Platform
