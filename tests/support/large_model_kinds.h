// large_model_kinds.h - the names of the large-model requests by their number.
#ifndef TESTS_SUPPORT_LARGE_MODEL_KINDS_H
#define TESTS_SUPPORT_LARGE_MODEL_KINDS_H

namespace QuorTest {

inline constexpr const char* kLargeModelKinds[] = {"FREE_CHAT",
                                                   "MEETING_CHAT",
                                                   "MEETING_SUMMARY",
                                                   "MEETING_MINUTES",
                                                   "TRANSLATE",
                                                   "SIMUL_INTERP",
                                                   "COMPLETIONS_CHAT",
                                                   "IMAGES_GENERATIONS",
                                                   "VIDEO_GENERATIONS",
                                                   "FREE_CHAT_STOP",
                                                   "MEETING_CHAT_STOP",
                                                   "MEETING_SUMMARY_STOP",
                                                   "MEETING_MINUTES_STOP",
                                                   "TRANSLATE_STOP",
                                                   "SIMUL_INTERP_STOP",
                                                   "COMPLETIONS_CHAT_STOP",
                                                   "IMAGES_GENERATIONS_STOP",
                                                   "VIDEO_GENERATIONS_STOP",
                                                   "MODEL_CONFIG"};

}  // namespace QuorTest

#endif
