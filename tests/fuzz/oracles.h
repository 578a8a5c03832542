// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// What must hold of all that users are told and given. What does not ends the process.
namespace fuzz {

/// The input of this execution: what it says itself may stand in any text. It must stay.
void setInput(std::string_view input);

/// A sentence for users says something, and names nothing of the program's inside.
void requireSentence(std::string_view text);
/// As above, of a whole text; none of its numbers is one that was never computed.
/// @param mayLackAnswers  "nan" is how it tells of a place without answer.
void requireText(std::string_view text, bool mayLackAnswers);
/// A JSON document, and a text as above.
void requireJson(std::string_view text);

} // namespace fuzz
