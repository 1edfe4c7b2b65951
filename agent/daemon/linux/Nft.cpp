#include "agent/daemon/linux/Nft.h"

#include <string_view>

namespace Daemon {

Nft::Nft() : context_(nft_ctx_new(NFT_CTX_DEFAULT)) {
  if (!context_) return;
  nft_ctx_buffer_output(context_.get());
  nft_ctx_buffer_error(context_.get());
}

// What goes wrong is told in its first line.
bool Nft::run(const std::string& commands, std::string& why) {
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

std::string Nft::output() const {
  const char* text = nft_ctx_get_output_buffer(context_.get());
  return text ? text : "";
}

// Adding first makes deleting what may not be there no error.
bool Nft::chainDel(const std::string& chain, std::string& why) {
  const std::string name = "bridge mrp " + chain;
  if (!run("add table bridge mrp\nadd chain " + name + "\nflush chain " + name + "\ndelete chain " +
               name,
           why)) {
    return false;
  }
  std::string ignored;
  if (run("list table bridge mrp", ignored) && output().find("chain ") == std::string::npos) {
    run("delete table bridge mrp", ignored);
  }
  return true;
}

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

std::string emptyChain(const std::string& chain, int priority) {
  const std::string name = "bridge mrp " + chain;
  return "add table bridge mrp\nadd chain " + name + " { type filter hook forward priority " +
         std::to_string(priority) + "; policy accept; }\nflush chain " + name + "\n";
}

std::string setOf(const std::vector<std::string>& ports) {
  std::string set;
  for (const std::string& port : ports) {
    if (port.find_first_of("\"\\*") != std::string::npos) continue;
    set += (set.empty() ? "\"" : ", \"") + port + "\"";
  }
  return set.empty() ? set : "{ " + set + " }";
}

}  // namespace Daemon
