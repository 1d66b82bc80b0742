#include "conference_channel/frame_body.h"

#include <cstddef>
#include <cstring>

#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

unsigned int PrintFrameBody(const cJSON* root, const FrameBodyTexts& texts, char** frameBody,
                            unsigned int* bodyLen) {
    if (frameBody == nullptr || bodyLen == nullptr) {
        KEL_LOG_ERROR("%s", texts.nullOutput);
        return 1;
    }
    *frameBody = nullptr;
    *bodyLen = 0;
    const JsonTextPtr printed(root != nullptr ? cJSON_Print(root) : nullptr);
    const std::size_t length = printed != nullptr ? std::strlen(printed.get()) : 0;
    if (length == 0) {
        KEL_LOG_ERROR("%s", texts.emptyBody);
        return 1;
    }
    HeapText text(kKelLogModule.name, __LINE__);
    *text.Out() = static_cast<char*>(
        OsMemMallocSetCharMon(static_cast<unsigned int>(length + 1), 0, __LINE__, kKelLogModule.name));
    if (text.Get() == nullptr) {
        KEL_LOG_ERROR("%s", texts.noMemory);
        return 1;
    }
    if (strncpy_s(text.Get(), length + 1, printed.get(), length) != 0) {
        text.Free();
        KEL_LOG_ERROR("%s", texts.copyFailed);
        return 1;
    }
    *frameBody = text.Release();
    *bodyLen = static_cast<unsigned int>(length);
    KEL_LOG_INFO("%s", texts.success);
    return 0;
}

}  // namespace QuorAiEngine
