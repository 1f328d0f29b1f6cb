// In place of the page, where the libraries for it were not there.
#include "shared/Console.h"
#include "shared/page/StatusPage.h"

namespace rt {

struct StatusPage::Inside {};

StatusPage::StatusPage(const StatusBoard&) {}

StatusPage::~StatusPage() = default;

bool StatusPage::start(const char* szProgram, uint32_t, bool bAsked) {
    if (bAsked) Console::error("%s: --page: this program was built without libcpp-httplib-dev", szProgram);
    return true;
}

void StatusPage::watch(const TilePool*) {}

}  // namespace rt
