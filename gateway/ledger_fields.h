// The fields of the ledger's services, as examples/ledger.fdl declares them.
#pragma once

namespace vxa::gateway::ledger_field {

inline constexpr int key_of(int type, int number) { return type << 26 | number; }

inline constexpr int kAccount = key_of(7, 1001);    // string
inline constexpr int kToAccount = key_of(7, 1002);  // string
inline constexpr int kAmount = key_of(4, 1003);     // long, in cents
inline constexpr int kBalance = key_of(4, 1004);    // long, in cents
inline constexpr int kMessage = key_of(7, 1005);    // string: why the service failed

}  // namespace vxa::gateway::ledger_field
