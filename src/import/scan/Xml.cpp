// Goes through the tags of an XML text.

#include "import/scan/Xml.h"

#include <charconv>
#include <cstdlib>

namespace rt {

namespace {

constexpr const char* XML_BLANKS = " \t\r\n";
constexpr size_t LONGEST_NUMBER = 60;

std::string_view withoutPrefix(std::string_view s) {
    const size_t uColon = s.find(':');
    return uColon == std::string_view::npos ? s : s.substr(uColon + 1);
}

}  // namespace

bool Xml::next() {
    for (;;) {
        uAt = sText.find('<', uAt);
        if (uAt == std::string::npos) return false;
        const char* szEnd = sText.compare(uAt, 4, "<!--") == 0        ? "-->"
                            : sText.compare(uAt, 9, "<![CDATA[") == 0 ? "]]>"
                            : sText.compare(uAt, 2, "<?") == 0        ? "?>"
                            : sText.compare(uAt, 2, "<!") == 0        ? ">"
                                                                      : nullptr;
        if (!szEnd) return readTag();
        uAt = sText.find(szEnd, uAt + 2);
        if (uAt == std::string::npos) return false;
    }
}

bool Xml::readTag() {
    bStart = sText[++uAt] != '/';
    if (!bStart) ++uAt;
    const size_t uName = sText.find_first_of(" \t\r\n/>", uAt);
    if (uName == std::string::npos) return false;
    const std::string_view sView = sText;
    sName = withoutPrefix(sView.substr(uAt, uName - uAt));
    vAttributes.clear();
    bEmpty = false;
    for (uAt = uName;;) {
        uAt = sText.find_first_not_of(XML_BLANKS, uAt);
        if (uAt == std::string::npos) return false;
        if (sText[uAt] == '>') return ++uAt, true;
        if (sText[uAt] == '/') {
            bEmpty = true;
            ++uAt;
            continue;
        }
        const size_t uEqual = sText.find('=', uAt), uQuote = sText.find_first_of("\"'", uEqual);
        if (uEqual == std::string::npos || uQuote == std::string::npos) return false;
        const size_t uEnd = sText.find(sText[uQuote], uQuote + 1);
        if (uEnd == std::string::npos) return false;
        const std::string_view sKey = sView.substr(uAt, sText.find_first_of(" \t\r\n=", uAt) - uAt);
        vAttributes.emplace_back(withoutPrefix(sKey), sView.substr(uQuote + 1, uEnd - uQuote - 1));
        uAt = uEnd + 1;
    }
}

std::string_view Xml::raw(std::string_view sAttribute) const {
    for (const auto& [sKey, sValue] : vAttributes) {
        if (sKey == sAttribute) return sValue;
    }
    return {};
}

std::string Xml::text(std::string_view sAttribute) const {
    std::string s(raw(sAttribute));
    for (const auto& [szEntity, szText] :
         {std::pair{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}}) {
        for (size_t u = 0; (u = s.find(szEntity, u)) != std::string::npos; ++u)
            s.replace(u, std::string_view(szEntity).size(), szText);
    }
    return s;
}

double Xml::number(std::string_view sAttribute, double dDefault) const {
    const std::string s(raw(sAttribute).substr(0, LONGEST_NUMBER));
    char* pEnd = nullptr;
    const double d = strtod(s.c_str(), &pEnd);
    return pEnd == s.c_str() ? dDefault : d;
}

unsigned Xml::index(std::string_view sAttribute, unsigned uDefault) const {
    const std::string_view s = raw(sAttribute);
    unsigned u = uDefault;
    const auto result = std::from_chars(s.data(), s.data() + s.size(), u);
    return result.ec == std::errc() ? u : uDefault;
}

}  // namespace rt
