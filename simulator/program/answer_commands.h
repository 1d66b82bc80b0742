/* answer_commands.h - the commands about SENDs, their answers, and messages with faulty content. The line's
 * words come with the command's name. */
#ifndef QUOR_SIMULATOR_PROGRAM_ANSWER_COMMANDS_H
#define QUOR_SIMULATOR_PROGRAM_ANSWER_COMMANDS_H

#include "words.h"

namespace quor_simulator::program {

CommandAnswer PublishFaultyCommand(Simulator& simulator, const Words& words);
CommandAnswer AnswerFaultCommand(Simulator& simulator, const Words& words);
CommandAnswer AnswerReleaseCommand(Simulator& simulator, const Words& words);
CommandAnswer AnswerClearCommand(Simulator& simulator, const Words& words);
CommandAnswer SendsCommand(Simulator& simulator, const Words& words);

}  // namespace quor_simulator::program

#endif
