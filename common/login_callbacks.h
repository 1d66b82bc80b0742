// login_callbacks.h - what the services hand to the login client. Login state changes need no action: a token
// is fetched anew for every use.
#ifndef COMMON_LOGIN_CALLBACKS_H
#define COMMON_LOGIN_CALLBACKS_H

namespace QuorAiEngine {

// The channel's.
void LoginCallbackFun(unsigned int event, void* data);

// The HTTP services'.
void LoginCallbackFunc(unsigned int event, void* data);

}  // namespace QuorAiEngine

#endif
