#pragma once

#include <set>
#include <string>
#include <utility>

#include "platform/interface/IntfStatus.h"

namespace Platform::Host {

class IntfStatusRoot final : public IntfStatusManagerRoot {
 public:
  IntfStatusRoot(Ptr<IntfStatusDir> all, Ptr<IntfStatusDir> local)
      : all_(std::move(all)), local_(std::move(local)) {}

  void intfStatusManagerIs(const std::string& ns) override { managers_.insert(ns); }
  bool intfStatusManagerHas(const std::string& ns) const override { return managers_.contains(ns); }

  const Ptr<IntfStatusDir>& all() const { return all_; }
  const Ptr<IntfStatusDir>& local() const { return local_; }

 private:
  Ptr<IntfStatusDir> all_;
  Ptr<IntfStatusDir> local_;
  std::set<std::string> managers_;
};

}  // namespace Platform::Host
