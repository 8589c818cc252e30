// Flags of open descriptors. A failure is logged under the code of the call.
#pragma once

namespace vxa::net {

bool set_status_flags(int fd, int flags);
bool clear_status_flags(int fd, int flags);

}  // namespace vxa::net
