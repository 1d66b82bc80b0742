// Calls of the C++ runtime that the linker redirects here (--wrap, see CMakeLists.txt), by their mangled
// names: what can fail in them fails on request.
#include <cstddef>
#include <new>
#include <string>
#include <system_error>
#include <thread>

#include "support/failing_new.h"
#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;

namespace QuorTest {

namespace {

// Calls of operator new until one fails on this thread; 0: none does.
thread_local unsigned t_newsUntilFailure = 0;
// NewsSucceed objects that live on this thread.
thread_local unsigned t_sheltered = 0;

}  // namespace

FailingNew::FailingNew(unsigned nth) {
    t_newsUntilFailure = nth;
}
FailingNew::~FailingNew() {
    t_newsUntilFailure = 0;
}
NewsSucceed::NewsSucceed() {
    ++t_sheltered;
}
NewsSucceed::~NewsSucceed() {
    --t_sheltered;
}
bool NewsSucceed::Any() {
    return t_sheltered != 0;
}
bool FailingNew::Hit() const {
    return t_newsUntilFailure == 0;
}

}  // namespace QuorTest

// Every string's allocation, whichever compiler and sanitizer: without a copy in this program, those that the
// compiler does not expand in place are the standard library binary's, which the linker does not redirect.
template char* std::basic_string<char>::_M_create(std::size_t& capacity, std::size_t oldCapacity);

// A reference travels as a pointer here, and so does a std::unique_ptr by value, which its caller destroys.
extern "C" {

void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag);
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag);
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* self, void* state, void (*dependency)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* self, void* state, void (*dependency)());

void* __real__Znwm(std::size_t size);
void* __wrap__Znwm(std::size_t size);

void* __wrap__Znwm(std::size_t size) {
    if (QuorTest::t_newsUntilFailure != 0 && QuorTest::t_sheltered == 0 &&
        --QuorTest::t_newsUntilFailure == 0) {
        throw std::bad_alloc();
    }
    return __real__Znwm(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag) {
    return Fake().Enter(Fn::NothrowNew) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t* tag) {
    return Fake().Enter(Fn::NothrowNew) ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}

void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* self, void* state, void (*dependency)()) {
    if (Fake().Enter(Fn::StartThread)) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    if (Fake().onStartThread) {
        Fake().onStartThread();
    }
    __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(self, state,
                                                                                                 dependency);
}

}  // extern "C"
