// failing_new.h - makes operator new fail, for the calling thread.
//
// Reached are the calls that stand in the library's and the tests' own code, templates of the standard
// library included; not those inside the standard library's binary.
#ifndef TESTS_SUPPORT_FAILING_NEW_H
#define TESTS_SUPPORT_FAILING_NEW_H

namespace QuorTest {

// While it lives, the nth call (1 = the next) of operator new throws std::bad_alloc, once. One at a time and
// thread.
class FailingNew {
public:
    explicit FailingNew(unsigned nth);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    // Whether it has thrown.
    bool Hit() const;
};

// While it lives, no call of the calling thread fails or counts, and no DeleteWatch looks into what it gives
// back: around what the fake platform does for its own records.
class NewsSucceed {
public:
    NewsSucceed();
    ~NewsSucceed();
    NewsSucceed(const NewsSucceed&) = delete;
    NewsSucceed& operator=(const NewsSucceed&) = delete;

    // Whether one lives on this thread.
    static bool Any();
};

}  // namespace QuorTest

#endif
