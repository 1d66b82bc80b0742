// Prints what the calls of the hot road cost: the bounded functions against the functions that do the work, a
// log record whose level is off, a block of the accounted heap against calloc, a mutex. Figures only.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "quor_platform/bounded.h"
#include "quor_platform/log.h"
#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"

namespace {

// Makes the compiler believe that p and what it points to are used.
void Keep(const void* p) {
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

// Nanoseconds of one call, the best of several runs of so many calls.
template <typename Call>
double Nanoseconds(int calls, Call call) {
    double best = 1e18;
    for (int run = 0; run < 7; ++run) {
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < calls; ++i) {
            call();
        }
        const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - begin;
        best = std::min(best, took.count() / calls);
    }
    return best;
}

void Compare(const char* what, double cost, double floor) {
    std::printf("%-44s %12.1f ns   floor %12.1f ns   %6.3f\n", what, cost, floor, cost / floor);
}

void CompareCopies(std::size_t size, int calls) {
    std::vector<char> from(size, 'a');
    std::vector<char> to(size, 'b');
    from.back() = '\0';
    char* dest = to.data();
    const char* src = from.data();
    char name[64];
    std::snprintf(name, sizeof name, "memset_s %zu", size);
    Compare(name,
            Nanoseconds(calls,
                        [&] {
                            memset_s(dest, size, 0, size);
                            Keep(dest);
                        }),
            Nanoseconds(calls, [&] {
                std::memset(dest, 0, size);
                Keep(dest);
            }));
    std::snprintf(name, sizeof name, "memcpy_s %zu", size);
    Compare(name,
            Nanoseconds(calls,
                        [&] {
                            memcpy_s(dest, size, src, size);
                            Keep(dest);
                        }),
            Nanoseconds(calls, [&] {
                std::memcpy(dest, src, size);
                Keep(dest);
            }));
    std::snprintf(name, sizeof name, "strcpy_s %zu", size);
    Compare(name,
            Nanoseconds(calls,
                        [&] {
                            strcpy_s(dest, size, src);
                            Keep(dest);
                        }),
            Nanoseconds(calls, [&] {
                std::strcpy(dest, src);
                Keep(dest);
            }));
    std::snprintf(name, sizeof name, "strncpy_s %zu", size);
    Compare(name,
            Nanoseconds(calls,
                        [&] {
                            strncpy_s(dest, size, src, size - 1);
                            Keep(dest);
                        }),
            Nanoseconds(calls, [&] {
                std::strcpy(dest, src);
                Keep(dest);
            }));
}

void CompareHeap(unsigned int size, int calls) {
    char name[64];
    std::snprintf(name, sizeof name, "accounted block of %u", size);
    Compare(name,
            Nanoseconds(calls,
                        [&] {
                            void* p = OsMemMallocSetCharMon(size, 0, __LINE__, "cost");
                            Keep(p);
                            OSMemTypeFreeMon(p, __LINE__, "cost");
                        }),
            Nanoseconds(calls, [&] {
                void* p = std::calloc(1, size);
                Keep(p);
                std::free(p);
            }));
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::string_view(argv[1]) == "--quick";
    const int many = quick ? 1000 : 1000000;
    const int few = quick ? 2 : 200;
    CompareCopies(16, many);
    CompareCopies(256, many);
    CompareCopies(4U << 20U, few);
    CompareHeap(64, many);
    CompareHeap(4U << 20U, many / 100);
    quor_platform::SetLogListener([](const quor_platform::LogRecord&) {});
    quor_platform::SetLogLevel(QUOR_OM_LOG_LEVEL_ERROR);
    std::printf("%-44s %12.1f ns\n", "suppressed log record with its file id", Nanoseconds(many, [] {
                    QuorOmLogModuleLogRecord(QUOR_OM_LOG_LEVEL_INFO,
                                             static_cast<unsigned short>(QuorAiGetAiLogFileId("AiLog.log")),
                                             "module.cpp", 10, __LINE__, "value %d of %s", 7, "name");
                }));
    std::printf("%-44s %12.1f ns\n", "suppressed log record", Nanoseconds(many, [] {
                    QuorOmLogModuleLogRecord(QUOR_OM_LOG_LEVEL_INFO, 1, "module.cpp", 10, __LINE__,
                                             "value %d of %s", 7, "name");
                }));
    static OsMutex mutex = OS_MUTEX_INITIALIZER;
    std::printf("%-44s %12.1f ns\n", "mutex locked and unlocked", Nanoseconds(many, [] {
                    OsMutexLock(&mutex);
                    OsMutexUnLock(&mutex);
                }));
    return 0;
}
