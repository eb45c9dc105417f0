// A reply as a person reads it and as a program reads it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/reply.h"

namespace host {

/// "ACK", "ACK in progress", "NAK", "data set".
const char* AnswerText(Answer answer);

/// An error code's name, "unknown" for any other number; the same with its number.
std::string CodeName(int code);
std::string CodeText(int code);

/// What a NAK says, a line for each error.
std::string NakText(const Reply& reply);

/// The fields behind `ack` by their names, a line each.
std::string FieldsText(const Reply& reply);

/// An object with "answer", "opcode" and "hex"; "record" where it is known; the fields by their
/// names; of a NAK "module" and "errors", each with "code" and "data".
nlohmann::ordered_json ReplyJson(const Reply& reply);

}  // namespace host
