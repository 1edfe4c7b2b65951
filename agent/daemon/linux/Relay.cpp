#include "agent/daemon/linux/Relay.h"

#include <nftables/libnftables.h>

#include <cstring>
#include <memory>

namespace Daemon {
namespace {

struct ContextFree {
  void operator()(nft_ctx* context) const { nft_ctx_free(context); }
};

// Runs commands of nft; what goes wrong is told in its first line.
class Nft {
 public:
  Nft() : context_(nft_ctx_new(NFT_CTX_DEFAULT)) {
    if (!context_) return;
    nft_ctx_buffer_output(context_.get());
    nft_ctx_buffer_error(context_.get());
  }
  bool run(const std::string& commands, std::string& why) {
    if (!context_) {
      why = "nftables: out of memory";
      return false;
    }
    if (nft_run_cmd_from_buffer(context_.get(), commands.c_str()) == 0) return true;
    const char* error = nft_ctx_get_error_buffer(context_.get());
    const std::string text = error ? error : "";
    why = "nftables: " + text.substr(0, text.find('\n'));
    return false;
  }
  std::string output() const {
    const char* text = nft_ctx_get_output_buffer(context_.get());
    return text ? text : "";
  }

 private:
  std::unique_ptr<nft_ctx, ContextFree> context_;
};

// The bridge's name where nft takes it for a name, else one made of it.
std::string chainOf(const std::string& bridge) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  std::string name = isLetter(bridge.front()) ? "" : "br";
  for (const char c : bridge) {
    if (isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_') {
      name += c;
      continue;
    }
    const auto octet = static_cast<unsigned char>(c);
    ((name += '_') += kDigits[octet >> 4]) += kDigits[octet & 15];
  }
  return name;
}

// Ports as a set; one whose name nft would read as something else is left out.
std::string setOf(const std::vector<std::string>& ports) {
  std::string set;
  for (const std::string& port : ports) {
    if (port.find_first_of("\"\\*") != std::string::npos) continue;
    set += (set.empty() ? "\"" : ", \"") + port + "\"";
  }
  return set.empty() ? set : "{ " + set + " }";
}

}  // namespace

// A tag stands in the frame, or a device took it out: nft sees it there in either case.
std::string relayRules(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                       bool msrp) {
  const std::string chain = "bridge mrp " + chainOf(bridge);
  std::string rules = "add table bridge mrp\nadd chain " + chain +
                      " { type filter hook forward priority -200; policy accept; }\nflush chain " +
                      chain + "\n";
  const std::string set = setOf(ports);
  if (set.empty()) return rules;
  const std::string rule = "add rule " + chain + " iifname " + set;
  if (mvrp) rules += rule + " ether daddr 01:80:c2:00:00:21 drop\n";
  if (msrp) {
    const std::string address = rule + " ether daddr 01:80:c2:00:00:0e ";
    rules += address + "ether type 0x22ea drop\n";
    rules += address + "vlan type 0x22ea drop\n";
    rules += address + "ether type 8021ad vlan type 0x22ea drop\n";
  }
  return rules;
}

bool blockRelay(const std::string& bridge, const std::vector<std::string>& ports, bool mvrp,
                bool msrp, std::string& why) {
  Nft nft;
  if (mvrp || msrp) return nft.run(relayRules(bridge, ports, mvrp, msrp), why);
  // Adding first makes deleting what may not be there no error.
  if (!nft.run(relayRules(bridge, {}, false, false) + "delete chain bridge mrp " + chainOf(bridge),
               why)) {
    return false;
  }
  std::string ignored;
  if (nft.run("list table bridge mrp", ignored) &&
      nft.output().find("chain ") == std::string::npos) {
    nft.run("delete table bridge mrp", ignored);
  }
  return true;
}

}  // namespace Daemon
