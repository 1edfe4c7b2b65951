#pragma once

#include <string>

#include "platform/host/AttrLogPair.h"
#include "platform/host/StateDatabase.h"
#include "platform/linux/Services.h"

namespace Platform::Linux {

// The whole platform of one engine: services, a state database of its own and an attribute log. The
// directories, which it is constructed from beside that, may be shared with other engines; whoever
// watches the host's interfaces fills them. What an engine still refers to outlives this object.
class EnginePlatform {
 public:
  struct Options {
    std::string name = "mrp";  // of the state database and its attribute log
    std::string defaultNamespace = "default";
    Services::Options services{};
  };

  EnginePlatform(Ptr<Loop> loop, const Host::Directories& directories, Options options);
  EnginePlatform(const EnginePlatform&) = delete;
  EnginePlatform& operator=(const EnginePlatform&) = delete;

  const Host::Directories& directories() const { return directories_; }
  const Ptr<Host::StateDatabase>& stateDatabase() const { return stateDatabase_; }
  Services& services() const { return *services_; }
  Host::AttrLogPair& attrLog() const { return *attrLog_; }

 private:
  Host::Directories directories_;
  Ptr<Services> services_;
  Ptr<Host::AttrLogPair> attrLog_;
  Ptr<Host::StateDatabase> stateDatabase_;
};

}  // namespace Platform::Linux
