#include "mrp/MrpSm/rx/FutureVersion.h"

namespace Mrp {

bool& rxFutureVersionPdu() {
  static bool flag = false;
  return flag;
}

}  // namespace Mrp
