// session.h - the records of the channel's session.
#ifndef CONFERENCE_CHANNEL_SESSION_H
#define CONFERENCE_CHANNEL_SESSION_H

#include <cstddef>

#include "common/login_callbacks.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

// The OS message that tells the terminal's connection client that the conference link was closed.
struct TagKelCloseNotifyMsg {
    unsigned char head[OS_MSG_ID_OFFSET];
    unsigned int msgId;
    unsigned int reserved;
    char srcModule[OS_MSG_MODULE_NAME_CAPACITY];
    char dstModule[OS_MSG_MODULE_NAME_CAPACITY];
    unsigned char tail[80];
};

static_assert(sizeof(TagKelCloseNotifyMsg) == OS_MSG_SIZE &&
                  offsetof(TagKelCloseNotifyMsg, msgId) == OS_MSG_ID_OFFSET &&
                  offsetof(TagKelCloseNotifyMsg, srcModule) == OS_MSG_SENDER_OFFSET &&
                  offsetof(TagKelCloseNotifyMsg, dstModule) == OS_MSG_RECEIVER_OFFSET,
              "layout of the close notice");

}  // namespace QuorAiEngine

#endif
