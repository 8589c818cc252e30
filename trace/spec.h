// The parts of a trace specification, "LEVEL:DESTINATION:ACTION": its fields, the words in them and what they mean.
// What is wrong with one is logged here.
#pragma once

#include "base/export.h"

namespace vxa::trace {

enum FieldNumber : int { kLevelField = 1, kDestinationField = 2, kActionField = 3 };
inline constexpr int kFields = 3;

inline constexpr int kHolderSize = 4096;  // of the texts that the settings hold
inline constexpr const char* kInvalidText = "5002 Invalid trace specification : %s";

// Values of words.
inline constexpr int kLevelAtmi = 0x1;
inline constexpr int kLevelAll = 0xF;
inline constexpr int kActionDye = 0x100000;
inline constexpr int kActionUndye = 0x200000;

// Puts the text, cut to what it holds, into a new block in the holder's place. Null and false, after a log record under
// that code, when memory is short.
bool replace_holder(char*& holder, const char* text, const char* code);

// Cuts the text into its fields, in place; an empty one is null. Gives their number, which may exceed what is stored.
int split_fields(char* text, char* fields[kFields]);

// The word of a destination or action field, which lies in the field's text. Receiver, target and message go into the
// settings. Null for a bad field.
char* word_of_field(char* field, int number);

// The word's value in the field of that number; -1 for a word that does not belong there.
int value_of_word(const char* word, int number);

}  // namespace vxa::trace

VXA_EXPORT int split_trcfld(char* text, char* fields[]);
VXA_EXPORT int advbrace(char** cursor);
VXA_EXPORT char* _get_spec(char* field, int number);
VXA_EXPORT int _spel_chk(const char* word, int number, int unused);
