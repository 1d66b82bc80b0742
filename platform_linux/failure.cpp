// failure.cpp - reasons of failures, one per thread.

#include "platform_linux/host_state.h"

namespace quor_platform {
namespace {

thread_local Failure lastFailure;

}  // namespace

void RecordFailure(const Failure& failure) {
    lastFailure = failure;
}

Failure LastFailure() {
    return lastFailure;
}

}  // namespace quor_platform
