#include "benchmarks/message_makers.h"

namespace bench {

std::string MakeFrame(std::string_view destination, std::string_view body) {
    std::string frame = "MESSAGE\ndestination:";
    frame.append(destination);
    frame.append("\ncontent-type:application/json\ncontent-length:");
    frame.append(std::to_string(body.size()));
    frame.append("\nsubscription:sub-2\nmessage-id:1-417\n\n");
    frame.append(body);
    return frame;
}

std::string MakeCaptionBody() {
    return R"({"uuid":"7d1c2f60-35b1-4a3e-9a52-0d3b0a2f7c11","name":"Meeting room Aalborg","final":true,)"
           R"("srcLang":"en-US","startTime":1732104000.25,"endTime":1732104003.75,)"
           R"("text":"The second item on the agenda is the schedule of the spring release, )"
           R"(and I would like to hear first what the test team has found."})";
}

std::string MakeSitesBody(unsigned int count) {
    std::string body = R"({"type":1,"size":)" + std::to_string(count) + R"(,"changeList":[)";
    for (unsigned int i = 0; i < count; ++i) {
        const std::string number = std::to_string(100000 + i);
        body += (i == 0 ? R"({"id":"site-)" : R"(,{"id":"site-)") + number +
                R"(-7d1c2f60-35b1-4a3e","name":"Participant )" + number + R"("})";
    }
    return body + "]}";
}

}  // namespace bench
