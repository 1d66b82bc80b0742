// failure_text.h - a failure of the platform as a problem that people can act on: what failed, what to do
// next, whether another attempt makes sense, and the exit code.
#ifndef QUOR_TERMINAL_FAILURE_TEXT_H
#define QUOR_TERMINAL_FAILURE_TEXT_H

#include <string>

#include "link_keeper.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {

// Why a link could not be opened.
LinkProblem ExplainOpenFailure(const quor_platform::Failure& failure);

// Why an open link ended.
LinkProblem ExplainLinkEnd(const quor_platform::Failure& failure);

// Why a request was not answered as it should be. words: what the library wrote about it; may be empty.
LinkProblem ExplainRequestFailure(const quor_platform::Failure& failure, const std::string& words);

// The same for requests to a face service.
LinkProblem ExplainFaceFailure(const quor_platform::Failure& failure, const std::string& words);

}  // namespace quor_terminal

#endif
