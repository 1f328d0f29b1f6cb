// Reads JSON.

#include "import/scan/Json.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace rt {

namespace {

constexpr unsigned DEEPEST_JSON = 100;

class JsonReader {
 public:
    explicit JsonReader(const std::string& s) : sText(s) {}

    bool read(JsonValue& value, unsigned uDepth) {
        skipSpace();
        value.uStart = uAt;
        const char c = sText.c_str()[uAt];
        bool bFailed = false;
        if (c == '{' || c == '[') {
            value.eKind = c == '{' ? JsonValue::RECORD : JsonValue::LIST;
            bFailed = uDepth == DEEPEST_JSON || readMembers(value, uDepth);
        } else if (c == '"') {
            value.eKind = JsonValue::TEXT;
            bFailed = readText(value.sText);
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            char* pEnd = nullptr;
            value.eKind = JsonValue::NUMBER;
            value.dNumber = strtod(sText.c_str() + uAt, &pEnd);
            uAt = static_cast<size_t>(pEnd - sText.c_str());
        } else {
            const size_t uLetters = strspn(sText.c_str() + uAt, "truefalsn");
            bFailed = uLetters == 0;
            uAt += uLetters;
        }
        value.uEnd = uAt;
        return bFailed;
    }

 private:
    void skipSpace() { uAt += strspn(sText.c_str() + uAt, " \t\r\n"); }

    bool take(char c) {
        skipSpace();
        if (sText.c_str()[uAt] != c) return false;
        ++uAt;
        return true;
    }

    bool readText(std::string& s) {
        const size_t uFirst = ++uAt;
        while (uAt < sText.size() && sText[uAt] != '"') uAt += sText[uAt] == '\\' ? 2 : 1;
        if (uAt >= sText.size()) return true;
        s.assign(sText, uFirst, uAt++ - uFirst);
        return false;
    }

    bool readMembers(JsonValue& value, unsigned uDepth) {
        const bool bNamed = value.eKind == JsonValue::RECORD;
        const char cEnd = bNamed ? '}' : ']';
        ++uAt;
        if (take(cEnd)) return false;
        do {
            std::string sName;
            skipSpace();
            if (bNamed && (sText.c_str()[uAt] != '"' || readText(sName) || !take(':'))) return true;
            value.vMembers.emplace_back(std::move(sName), JsonValue());
            if (read(value.vMembers.back().second, uDepth + 1)) return true;
        } while (take(','));
        return !take(cEnd);
    }

    const std::string& sText;
    size_t uAt = 0;
};

}  // namespace

const JsonValue* JsonValue::find(const char* szName) const {
    for (const auto& [sName, member] : vMembers) {
        if (eKind == RECORD && sName == szName) return &member;
    }
    return nullptr;
}

size_t JsonValue::count(const char* szName, size_t uDefault) const {
    const JsonValue* p = find(szName);
    const bool bCount = p && p->eKind == NUMBER && p->dNumber >= 0 && p->dNumber < static_cast<double>(SIZE_MAX);
    return bCount ? static_cast<size_t>(p->dNumber) : uDefault;
}

const JsonValue* JsonValue::at(size_t u) const {
    return eKind == LIST && u < vMembers.size() ? &vMembers[u].second : nullptr;
}

bool readJson(const std::string& sText, JsonValue& value) {
    return JsonReader(sText).read(value, 0);
}

}  // namespace rt
