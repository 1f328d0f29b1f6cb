#pragma once

#include <string>
#include <utility>
#include <vector>

namespace rt {

/// A value of a JSON text, with its place there.
struct JsonValue {
    enum Kind { NOTHING, NUMBER, TEXT, LIST, RECORD };

    Kind eKind = NOTHING;  // true, false and null are nothing
    size_t uStart = 0, uEnd = 0;
    double dNumber = 0;
    std::string sText;                                        // as it is written, between the quotes
    std::vector<std::pair<std::string, JsonValue>> vMembers;  // of lists without names

    /// Null when this is no record or has no such member.
    const JsonValue* find(const char* szName) const;

    /// A whole number that a member holds, the default otherwise.
    size_t count(const char* szName, size_t uDefault) const;

    /// Member number u of a list, null when there is none.
    const JsonValue* at(size_t u) const;
};

/// Reads a text. True when it is no JSON, or nested too deeply.
[[nodiscard]] bool readJson(const std::string& sText, JsonValue& value);

}  // namespace rt
