#pragma once

#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/env/Environment.h"

namespace Mrp {

// Tells the application of registrations and counts that. It may call the service from inside.
class Indications {
 public:
  Indications(const Environment& env, MrpLib& lib) : env_(env), lib_(lib) {}

  // A declaration of the attribute was registered, or withdrawn or aged out. The value stands in
  // the receive record. True when the application has discarded it.
  bool join(const MrpAttribute& attribute);
  void leave(const MrpAttribute& attribute);

 private:
  const Environment& env_;
  MrpLib& lib_;
};

}  // namespace Mrp
