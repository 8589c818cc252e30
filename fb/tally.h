// The tally of a walk over a buffer: how often each key has occurred up to the record that was told last, so that every
// step numbers its record without a look back. One walk has it at a time. It is lost when records of the buffer move or
// are marked, when another walk begins, and when memory runs out; the walk then goes on by searching.
#pragma once

#include "fb/fbcommon.h"

namespace vxa::fb::tally {

// Begins a walk at the first record.
void start(FieldBuffer buffer);

// Ends the buffer's walk and gives its memory back.
void end(FieldBuffer buffer);

// The record that was added last, if it is occurrence nth of the key in that buffer. If it is not, a walk of the buffer
// that has the tally loses it.
Record last_added(FieldBuffer buffer, FieldKey key, int nth);

// Adds the first record, or the one behind that added last. Gives its number among those of its key, or -1 without a
// tally.
int add(FieldBuffer buffer, Record record);

}  // namespace vxa::fb::tally
