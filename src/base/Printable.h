#pragma once

#include <cstddef>
#include <cstdint>

namespace Velk {

/// Whether a tab is kept, as in a quoted line of a file, or escaped.
enum TabKind { ESCAPE_TABS, KEEP_TABS };

/// A text from outside (a file name, a name in a file, an argument, a peer's message), made safe for a terminal or a
/// log. Escaped as \xNN, byte by byte, are control characters (of one byte and in UTF-8), line separators, marks that
/// change the writing direction, and invalid UTF-8. All other UTF-8 is kept. Uses a fixed buffer, so that it needs no
/// free memory. A text that does not fit is cut between two characters and ends with "...".
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
