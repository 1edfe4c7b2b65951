#pragma once

#include <nftables/libnftables.h>

#include <memory>
#include <string>
#include <vector>

namespace Daemon {

// The agent's chains stand in the nftables table `bridge mrp`, which goes with the last of them.
class Nft {
 public:
  Nft();
  // Runs commands of nft. False when one fails, and `why` says so in a line.
  bool run(const std::string& commands, std::string& why);
  std::string output() const;
  // Removes a chain, which may not be there.
  bool chainDel(const std::string& chain, std::string& why);

 private:
  struct ContextFree {
    void operator()(nft_ctx* context) const { nft_ctx_free(context); }
  };
  std::unique_ptr<nft_ctx, ContextFree> context_;
};

// The bridge's name where nft takes it for a name, else one made of it.
std::string chainOf(const std::string& bridge);
// Commands that make the chain where it is not there, hooked where frames are forwarded, and take
// out what it holds.
std::string emptyChain(const std::string& chain, int priority);
// Ports as a set, empty for none; one whose name nft would read as something else is left out.
std::string setOf(const std::vector<std::string>& ports);

}  // namespace Daemon
