// transfer_loop.h - drives exchanges on one libcurl multi handle, which keeps their connections.
//
// Threads: an object belongs to one thread; only Wake is for all.
#ifndef QUOR_PLATFORM_LINUX_HTTP_TRANSFER_LOOP_H
#define QUOR_PLATFORM_LINUX_HTTP_TRANSFER_LOOP_H

#include <curl/curl.h>

#include <memory>
#include <vector>

#include "platform_linux/http/exchange.h"

namespace quor_platform::internal {

class TransferLoop {
public:
    // Keeps so many connections that nobody uses. Throws std::bad_alloc.
    explicit TransferLoop(long keptConnections);
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    // The exchange ends before the loop does. It may be finished at once.
    void Start(Exchange& exchange);
    // Forget it before it ends unfinished.
    void Forget(const Exchange& exchange);
    // Goes on with all exchanges; waits for at most mostMs unless one finished. Returns those that finished.
    std::vector<Exchange*> Step(int mostMs);
    // Ends the wait of a Step that runs or comes next.
    void Wake() { curl_multi_wakeup(m_multi.get()); }

private:
    struct Freed {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    void TakeFinished(std::vector<Exchange*>& finished);
    void Wait(int mostMs);

    std::unique_ptr<CURLM, Freed> m_multi;
    std::vector<Exchange*> m_lookingUp;
    std::vector<Exchange*> m_finishedAtStart;
};

}  // namespace quor_platform::internal

#endif
