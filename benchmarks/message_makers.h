// message_makers.h - frames as the server sends them, for the benchmarks.
#ifndef BENCHMARKS_MESSAGE_MAKERS_H
#define BENCHMARKS_MESSAGE_MAKERS_H

#include <string>
#include <string_view>

namespace bench {

// A MESSAGE frame as the Linux platform hands it up.
std::string MakeFrame(std::string_view destination, std::string_view body);

// The body of a caption: one spoken sentence of ordinary length.
std::string MakeCaptionBody();

// The body of a participant-list change with count sites.
std::string MakeSitesBody(unsigned int count);

}  // namespace bench

#endif
