#include "platform/linux/EnginePlatform.h"

#include <utility>

namespace Platform::Linux {

EnginePlatform::EnginePlatform(Ptr<Loop> loop, const Host::Directories& directories,
                               Options options)
    : directories_(directories),
      services_(makePtr<Services>(std::move(loop), std::move(options.services))),
      attrLog_(makePtr<Host::AttrLogPair>()),
      stateDatabase_(makePtr<Host::StateDatabase>(services_, std::move(options.name),
                                                  std::move(options.defaultNamespace))) {
  stateDatabase_->attrLogIs(attrLog_);
  stateDatabase_->directoriesAre(directories_);
}

}  // namespace Platform::Linux
