// Socket filter programs of any instructions, run on any frame. A program that is valid gives what
// libpcap's interpreter gives, and libpcap takes it for valid too; any other accepts nothing.
//
// The first octet of an input is the number of instructions, the rest after them is the frame. An
// instruction has two octets of code, two of jumps and four of operand; a code may also be taken
// from the list of those that are known, so that random octets often make valid programs.

#include <pcap/pcap.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/Check.h"
#include "platform/packet/SocketFilter.h"

namespace {

using namespace Platform::FilterCode;
using Octets = std::span<const std::uint8_t>;
using Program = std::vector<Platform::FilterInstruction>;

constexpr std::array kKnown{kLoadWordAbs,
                            kLoadHalfAbs,
                            kLoadByteAbs,
                            kLoadWordInd,
                            kLoadHalfInd,
                            kLoadByteInd,
                            kLoadImm,
                            kLoadLen,
                            kLoadMem,
                            kLoadXImm,
                            kLoadXLen,
                            kLoadXMem,
                            kLoadXIpHeader,
                            kStore,
                            kStoreX,
                            kJump,
                            kJumpEqual,
                            kJumpGreater,
                            kJumpGreaterEqual,
                            kJumpSet,
                            kJumpEqualX,
                            kJumpGreaterX,
                            kJumpGreaterEqualX,
                            kJumpSetX,
                            kAddK,
                            kAddX,
                            kSubK,
                            kSubX,
                            kMulK,
                            kMulX,
                            kDivK,
                            kDivX,
                            kOrK,
                            kOrX,
                            kAndK,
                            kAndX,
                            kLshK,
                            kLshX,
                            kRshK,
                            kRshX,
                            kNeg,
                            kModK,
                            kModX,
                            kXorK,
                            kXorX,
                            kReturn,
                            kReturnA,
                            kTax,
                            kTxa};

Platform::FilterInstruction instruction(Octets octets) {
  Platform::FilterInstruction in;
  in.code = octets[0] & 0x80 ? kKnown[octets[1] % kKnown.size()]
                             : static_cast<std::uint16_t>(octets[0] << 8 | octets[1]);
  in.jt = octets[2];
  in.jf = octets[3];
  for (const std::uint8_t octet : octets.subspan(4, 4)) in.k = in.k << 8 | octet;
  return in;
}

// libpcap differs from the kernel, and so from us, in two operations on X: an offset of X plus K
// does not wrap at 32 bits, and a shift by 32 or more gives 0.
bool comparable(const Program& program) {
  constexpr std::uint32_t kLarge = 0x80000000;
  bool indirect = false;
  bool largeX = false;
  for (const Platform::FilterInstruction& in : program) {
    switch (in.code) {
      case kLshX:
      case kRshX:
        return false;
      case kLoadWordInd:
      case kLoadHalfInd:
      case kLoadByteInd:
        indirect = true;
        largeX |= in.k >= kLarge;
        break;
      case kLoadXImm:
        largeX |= in.k >= kLarge;
        break;
      case kLoadXMem:
      case kTax:
        largeX = true;
        break;
      default:
        break;
    }
  }
  return !(indirect && largeX);
}

std::uint32_t libpcapRun(const Program& program, Octets frame) {
  std::vector<bpf_insn> instructions;
  for (const auto& in : program) instructions.push_back({in.code, in.jt, in.jf, in.k});
  CHECK(bpf_validate(instructions.data(), static_cast<int>(instructions.size())));
  const auto size = static_cast<u_int>(frame.size());
  return bpf_filter(instructions.data(), frame.data(), size, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr std::size_t kSize = 8;
  Octets octets(data, size);
  if (octets.empty()) return 0;
  const std::size_t count = octets[0];
  octets = octets.subspan(1);
  Program program;
  while (program.size() < count && octets.size() >= kSize) {
    program.push_back(instruction(octets));
    octets = octets.subspan(kSize);
  }
  // In memory of exactly its size, where a sanitizer sees every octet beyond.
  const std::vector<std::uint8_t> frame(octets.begin(), octets.end());
  const std::uint32_t accepted = Platform::runSocketFilter(program, frame);
  if (!Platform::filterIsValid(program)) {
    CHECK(accepted == 0);
  } else if (comparable(program)) {
    CHECK(libpcapRun(program, frame) == accepted);
  }
  return 0;
}
