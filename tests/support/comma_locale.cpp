#include "support/comma_locale.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define QUOR_TEST_LEAK_SANITIZER
#endif
#endif

namespace QuorTest {

namespace {

// The C library never frees the search path that it makes of LOCPATH.
locale_t MakeLocale(const char* name) {
#if defined(QUOR_TEST_LEAK_SANITIZER)
    const __lsan::ScopedDisabler libraryLeaks;
#endif
    return newlocale(LC_NUMERIC_MASK, name, nullptr);
}

constexpr char kName[] = "comma";

// What localedef writes for LC_NUMERIC: the places of six values, and the values.
struct NumericFile {
    std::uint32_t magic = 0x20031114;
    std::uint32_t count = 6;
    std::uint32_t places[6] = {32, 34, 35, 36, 40, 44};
    char decimalPoint[2] = {',', '\0'};
    char thousandsSeparator = '\0';
    char grouping = '\0';
    std::uint32_t widePoint = ',';
    std::uint32_t wideSeparator = 0;
    char codeset[16] = "ANSI_X3.4-1968";
};
static_assert(sizeof(NumericFile) == 60, "without gaps");

// A folder of locales with this one in it.
std::filesystem::path MakeFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "quor-locale-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no folder for a locale");
    }
    const std::filesystem::path locale = std::filesystem::path(name) / kName;
    std::filesystem::create_directory(locale);
    const NumericFile numeric;
    std::ofstream(locale / "LC_NUMERIC", std::ios::binary)
        .write(reinterpret_cast<const char*>(&numeric), sizeof(numeric));
    return name;
}

}  // namespace

CommaLocale::CommaLocale() {
    const std::filesystem::path folder = MakeFolder();
    // NOLINTBEGIN(concurrency-mt-unsafe): alone, as the header demands
    setenv("LOCPATH", folder.c_str(), 1);
    m_locale = MakeLocale(kName);
    unsetenv("LOCPATH");
    // NOLINTEND(concurrency-mt-unsafe)
    std::filesystem::remove_all(folder);
    if (m_locale == nullptr) {
        throw std::runtime_error("the locale is not taken");
    }
    m_before = uselocale(m_locale);
}

CommaLocale::~CommaLocale() {
    uselocale(m_before);
    freelocale(m_locale);
}

}  // namespace QuorTest
