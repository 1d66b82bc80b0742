#include "back_off.h"

#include <algorithm>
#include <memory>
#include <random>
#include <utility>

namespace quor_terminal {

BackOff::BackOff(std::chrono::milliseconds base, std::chrono::milliseconds cap, Random random)
    : m_base(base), m_cap(cap), m_random(std::move(random)) {}

std::chrono::milliseconds BackOff::Ceiling() const {
    std::chrono::milliseconds ceiling = m_base;
    // Doubling stops at the cap, so that no number of attempts can overflow.
    for (unsigned int i = 0; i < m_attempts && ceiling < m_cap; ++i) {
        ceiling *= 2;
    }
    return std::min(ceiling, m_cap);
}

std::chrono::milliseconds BackOff::Next() {
    const double ceilingMs = static_cast<double>(Ceiling().count());
    ++m_attempts;
    const double drawn = std::clamp(m_random(), 0.0, 1.0);
    return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(drawn * ceilingMs));
}

BackOff::Random MakeSystemRandom() {
    std::random_device device;
    auto engine = std::make_shared<std::mt19937>(device());
    return [engine] { return std::uniform_real_distribution<double>(0.0, 1.0)(*engine); };
}

}  // namespace quor_terminal
