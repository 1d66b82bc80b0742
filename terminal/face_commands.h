// face_commands.h - the parts of 'face' that have files of their own. Each returns the program's exit code.
#ifndef QUOR_TERMINAL_FACE_COMMANDS_H
#define QUOR_TERMINAL_FACE_COMMANDS_H

#include "command_line.h"

namespace quor_terminal {

int RunFaceIdentify(const FaceIdentifyOptions& options);
int RunFacePhotos(const FacePhotosOptions& options);

}  // namespace quor_terminal

#endif
