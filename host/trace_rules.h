// What the trace settings ask of the sink: which calls it shows, where, and what it does when one is entered.
//
// A receiver and a target are shell patterns for names of calls: the receiver says which calls are shown, the target
// which of them trigger the action.
#pragma once

namespace vxa::host {

// How a traced call is shown.
enum class Show { No, AsLine, AsRecord };

// Decides about a call that is entered. "dye" with a target shows calls from the first that matches on, "undye" with a
// target up to that one; alone, they show all and none.
Show show(const char* name, int call_class);

// Carries out the action if the call triggers it: a message to the log, a command, another trace specification, a
// sleep, or the end of the process. Commands and the end want VXA_TRACE_ALLOW to name them.
void act(const char* name, int call_class);

}  // namespace vxa::host
