// delete_watch.h - looks into every block that operator delete gives back, for secrets.
//
// The accounted heap is checked by the fake platform; this catches the copies that a std::string or a
// std::vector made. Blocks are searched while a DeleteWatch lives, on all threads, but for those of the fake
// platform itself. One at a time.
#ifndef TESTS_SUPPORT_DELETE_WATCH_H
#define TESTS_SUPPORT_DELETE_WATCH_H

#include <cstddef>
#include <string>

namespace QuorTest {

class DeleteWatch {
public:
    // secret must outlive the watch. Pieces of minBytes bytes count.
    explicit DeleteWatch(const std::string& secret, std::size_t minBytes = 8);
    ~DeleteWatch();
    DeleteWatch(const DeleteWatch&) = delete;
    DeleteWatch& operator=(const DeleteWatch&) = delete;

    // Blocks given back that held a piece of the secret.
    unsigned Hits() const;
};

}  // namespace QuorTest

#endif
