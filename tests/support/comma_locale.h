// comma_locale.h - a locale that writes 1,5 for one and a half, on every machine: made here, because a
// machine may have none besides C.
#ifndef TESTS_SUPPORT_COMMA_LOCALE_H
#define TESTS_SUPPORT_COMMA_LOCALE_H

#include <locale.h>

namespace QuorTest {

// While it lives, the calling thread formats numbers with a comma, as under setlocale(LC_ALL, "de_DE.UTF-8").
// One at a time. No other thread may use the environment while it is made.
class CommaLocale {
public:
    // Throws std::runtime_error when the C library does not take the locale.
    CommaLocale();
    ~CommaLocale();
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    locale_t m_locale;
    locale_t m_before;
};

}  // namespace QuorTest

#endif
