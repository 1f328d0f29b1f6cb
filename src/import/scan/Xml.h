#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rt {

/// Goes through the tags of an XML text, which must outlive it. Names lose their namespace's prefix; text between tags
/// is skipped.
class Xml {
 public:
    explicit Xml(const std::string& s) : sText(s) {}

    /// Goes to the next tag. False at the end, and where the text is no XML.
    bool next();

    /// The tag's name, and whether it is an element's start; "<a/>" is a start that no end follows.
    std::string_view name() const { return sName; }
    bool isStart() const { return bStart; }
    bool isEmpty() const { return bEmpty; }

    /// An attribute's value as it is written, empty when there is none.
    std::string_view raw(std::string_view sAttribute) const;

    /// The same with its entities replaced.
    std::string text(std::string_view sAttribute) const;

    /// As a number; the default when there is none.
    double number(std::string_view sAttribute, double dDefault) const;
    unsigned index(std::string_view sAttribute, unsigned uDefault) const;

 private:
    bool readTag();

    const std::string& sText;
    size_t uAt = 0;
    std::string_view sName;
    bool bStart = false, bEmpty = false;
    std::vector<std::pair<std::string_view, std::string_view>> vAttributes;
};

}  // namespace rt
