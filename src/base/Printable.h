#pragma once

#include <cstddef>
#include <cstdint>

namespace Velk {

/// Whether a tab is kept, as in a quoted line of a file, or escaped.
enum TabKind { ESCAPE_TABS, KEEP_TABS };

/// A text from outside (a file name, a name out of a file, an argument, a peer's message) as it may be shown on a
/// terminal or in a log: what could control a terminal, break the line or mislead its reader stands as \xNN, byte by
/// byte. That are control characters (of one byte and in UTF-8), line separators, marks that change the writing
/// direction, and bytes that are no UTF-8. All other UTF-8 is kept to the byte. Lives in a buffer of its own, so that
/// it needs no free memory: a text that does not fit is cut between two characters and ends with "...".
class Printable {
 public:
    static constexpr size_t LONGEST = 1000;  // bytes of the result

    explicit Printable(const char* szText);

    /// The same for uLength bytes, which may include zeros. Shows the first uMost bytes at most.
    Printable(const char* pText, size_t uLength, size_t uMost = SIZE_MAX, TabKind tabs = ESCAPE_TABS);

    const char* text() const { return szShown; }

 private:
    char szShown[LONGEST + 1];
};

}  // namespace Velk
