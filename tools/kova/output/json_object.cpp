#include "kova/output/json_object.h"

#include <nlohmann/json.hpp>

#include "kova/output/overloaded.h"

// Objects are written as their members come: a spectrum may have millions of values, and building a document
// of it first would take many times its memory.
namespace kova_tool {

std::string jsonString(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void JsonObject::beginMember(std::string_view name) {
    out << nextSeparator << '"' << name << "\":";
    nextSeparator = ",";
    hasMembers = true;
}

void JsonObject::member(std::string_view name, const Cell& value) {
    beginMember(name);
    std::visit(Overloaded{[&](std::monostate) { out << "null"; },
                          [&](std::string_view text) { out << jsonString(text); },
                          [&](auto number) { writeJsonNumber(out, number); }},
               value);
}

}  // namespace kova_tool
