#pragma once

namespace Platform::Linux {

// Room for what comes in while the loop is busy elsewhere: 4 MiB with CAP_NET_ADMIN, else what the
// host allows. A refusal changes nothing.
void enlargeReceiveBuffer(int fd);

}  // namespace Platform::Linux
