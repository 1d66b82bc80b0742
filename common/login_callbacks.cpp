#include "common/login_callbacks.h"

namespace QuorAiEngine {

void LoginCallbackFun(unsigned int /*event*/, void* /*data*/) {}

void LoginCallbackFunc(unsigned int /*event*/, void* /*data*/) {}

}  // namespace QuorAiEngine
