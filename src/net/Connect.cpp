// A client's attempts to reach its server.
#include "net/Connect.h"

#include <algorithm>

#include "base/NLogger.h"

namespace rt {

bool connectWithRetries(SocketClient& client, const char* szHost, uint16_t uPort, const Wakeup& wakeup,
                        const ConnectTimes& times) {
    using Clock = std::chrono::steady_clock;
    Clock::time_point tInterval = Clock::now();
    int iPause = 1;  // a server that is started together with its clients listens after a few milliseconds
    for (unsigned uAttempts = 1; !wakeup.isStopRequested(); ++uAttempts) {
        if (!client.initClient(szHost, uPort)) return false;
        if (Clock::now() - tInterval >= times.reportInterval) {
            tInterval = Clock::now();
            Velk::NLogger::LogMessage("No server at %s:%u yet: %s, %u attempts\n", szHost, unsigned{uPort},
                                      client.sFailure.c_str(), uAttempts);
        }
        wakeup.waitFor(iPause);
        iPause = std::min(2 * iPause, times.iLongestPause);
    }
    return true;
}

}  // namespace rt
