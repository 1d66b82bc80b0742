/*
 * completion.h - a handler of any type for an asynchronous read or write, and the parts that a stream needs
 * to take such handlers.
 *
 * WebSocket and HTTP operations come with a type of their own each. Where a layer below them is a template
 * over the handler, every one of them brings its own TLS state machine, socket and timer operations: minutes
 * of compile time. The layers of this server erase the type instead and compile once.
 */
#ifndef QUOR_SIMULATOR_COMPLETION_H
#define QUOR_SIMULATOR_COMPLETION_H

#include <boost/asio/buffer.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <memory>
#include <utility>

namespace quor_simulator {

/* Called at most once. The handler keeps the stream's owner alive: after the call the stream may be gone. */
class Completion {
public:
    using ErrorCode = boost::system::error_code;

    template <class Handler>
    explicit Completion(Handler handler) : m_holder(std::make_unique<Holder<Handler>>(std::move(handler))) {}
    Completion(Completion&&) = default;
    Completion& operator=(Completion&&) = default;

    void operator()(ErrorCode error, std::size_t count) {
        const std::unique_ptr<Base> holder = std::move(m_holder);
        holder->Call(error, count);
    }

private:
    struct Base {
        virtual ~Base() = default;
        virtual void Call(ErrorCode error, std::size_t count) = 0;
    };
    template <class Handler>
    struct Holder : Base {
        explicit Holder(Handler given) : handler(std::move(given)) {}
        void Call(ErrorCode error, std::size_t count) override { std::move(handler)(error, count); }
        Handler handler;
    };
    std::unique_ptr<Base> m_holder;
};

/* The first buffer that is not empty: an operation named "some" need not take more. */
template <class Buffer, class Sequence>
Buffer FirstBuffer(const Sequence& buffers) {
    const auto end = boost::asio::buffer_sequence_end(buffers);
    for (auto buffer = boost::asio::buffer_sequence_begin(buffers); buffer != end; ++buffer) {
        if (Buffer(*buffer).size() != 0) {
            return Buffer(*buffer);
        }
    }
    return Buffer();
}

}  // namespace quor_simulator

#endif
