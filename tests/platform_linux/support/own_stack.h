// own_stack.h - runs a function on a stack of the test's and looks at what the function left there.
#ifndef QUOR_TESTS_PLATFORM_LINUX_OWN_STACK_H
#define QUOR_TESTS_PLATFORM_LINUX_OWN_STACK_H

#include <pthread.h>

#include <new>
#include <string>
#include <string_view>

#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/guarded_buffer.h"

class OwnStack {
public:
    // Runs function(argument) to its end on a thread of its own and keeps a copy of the thread's stack.
    void Run(void* (*function)(void*), void* argument) {
        Call call{function, argument, {}, {}};
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, m_stack.First(), m_stack.Size());
        pthread_t thread;
        if (pthread_create(&thread, &attributes, RunAndStay, &call) != 0) {
            throw std::bad_alloc();
        }
        pthread_attr_destroy(&attributes);
        call.done.Wait();
        Copy();
        call.copied.Open();
        pthread_join(thread, nullptr);
    }

    bool Holds(std::string_view pattern) const { return m_copy.find(pattern) != std::string::npos; }

private:
    struct Call {
        void* (*function)(void*);
        void* argument;
        Gate done;
        Gate copied;
    };

    // A thread that ends gives its stack's pages back, so it stays until they were copied.
    static void* RunAndStay(void* argument) {
        auto* call = static_cast<Call*>(argument);
        RunDeep(call);
        call->done.Open();
        call->copied.Wait();
        return nullptr;
    }

    // Deep enough for the waits above not to overwrite the function's frames.
    __attribute__((noinline)) static void RunDeep(Call* call) {
        volatile char depth[16384];
        depth[0] = 1;
        call->function(call->argument);
        depth[sizeof depth - 1] = 1;
    }

    // Reads dead and live frames alike, which a sanitizer cannot know to be meant.
    __attribute__((noinline, no_sanitize("address"), no_sanitize("thread"))) void Copy() {
        m_copy.resize(m_stack.Size());
        char* to = m_copy.data();
        const volatile char* from = m_stack.First();
        for (std::size_t i = 0; i < m_stack.Size(); ++i) {
            to[i] = from[i];
        }
    }

    GuardedBuffer m_stack{1U << 20U};
    std::string m_copy;
};

#endif
