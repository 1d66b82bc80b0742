#include "statistics.h"

#include <cstring>
#include <string_view>

namespace quor_terminal {
namespace {

// FNV-1a, 64 bits, over length and bytes of each part: "ab","c" and "a","bc" differ.
class TextHash {
public:
    void Add(std::string_view part) {
        AddNumber(part.size());
        for (const char c : part) {
            AddByte(static_cast<unsigned char>(c));
        }
    }
    void Add(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        AddNumber(bits);
    }
    std::uint64_t Value() const { return m_value; }

private:
    void AddNumber(std::uint64_t number) {
        for (unsigned int shift = 0; shift < 64; shift += 8) {
            AddByte(static_cast<unsigned char>(number >> shift));
        }
    }
    void AddByte(unsigned char byte) { m_value = (m_value ^ byte) * 0x100000001B3ULL; }

    std::uint64_t m_value = 0xCBF29CE484222325ULL;
};

}  // namespace

void Statistics::CountResult(unsigned int id) {
    const MutexLock lock(m_mutex);
    if (id < m_counts.resultsById.size()) {
        ++m_counts.resultsById[id];
    }
}

void Statistics::CountUnreadable() {
    const MutexLock lock(m_mutex);
    ++m_counts.unreadable;
}

bool Statistics::CountCaption(const Caption& caption) {
    const MutexLock lock(m_mutex);
    TextCounts& counts = caption.isTranslation ? m_counts.translations : m_counts.captions;
    if (!caption.isFinal) {
        ++counts.interim;
        return false;
    }
    ++counts.final;
    if (!SeenBefore(caption)) {
        return false;
    }
    ++counts.duplicates;
    return true;
}

void Statistics::CountCheckins(std::size_t people) {
    const MutexLock lock(m_mutex);
    ++m_counts.checkinMessages;
    m_counts.checkins += people;
}

void Statistics::CountControl() {
    const MutexLock lock(m_mutex);
    ++m_counts.controls;
}

void Statistics::CountSites(std::size_t sites) {
    const MutexLock lock(m_mutex);
    ++m_counts.siteMessages;
    m_counts.sites += sites;
}

void Statistics::CountOverlay() {
    const MutexLock lock(m_mutex);
    ++m_counts.overlays;
}

StatisticsSnapshot Statistics::Snapshot() const {
    const MutexLock lock(m_mutex);
    return m_counts;
}

bool Statistics::SeenBefore(const Caption& caption) {
    TextHash hash;
    hash.Add(caption.site);
    hash.Add(caption.isTranslation ? caption.dstLang : std::string_view());
    hash.Add(caption.startTime);
    hash.Add(caption.endTime);
    hash.Add(caption.text);
    hash.Add(caption.transText);
    if (!m_seen.insert(hash.Value()).second) {
        return true;
    }
    m_order.push_back(hash.Value());
    if (m_order.size() > kRememberedFinals) {
        m_seen.erase(m_order.front());
        m_order.pop_front();
    }
    return false;
}

}  // namespace quor_terminal
