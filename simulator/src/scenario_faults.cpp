#include "scenario_faults.h"

#include "choose.h"

namespace quor_simulator {

FaultStep ReadDropStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "how", "code", "reason"});
    const Drop how = step.Has("how") ? Choose(step.Member("how"), kDropNames) : Drop::kCloseFrame;
    const auto code = static_cast<std::uint16_t>(step.IntegerOr("code", 1000, 4999, 1001));
    return [how, code, reason = step.TextOr("reason", "going away")](Hub& hub) {
        hub.DropLinks(how, code, reason, std::nullopt);
    };
}

FaultStep ReadFreezeStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind"});
    return [](Hub& hub) { hub.FreezeLinks(true); };
}

FaultStep ReadThawStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind"});
    return [](Hub& hub) { hub.FreezeLinks(false); };
}

FaultStep ReadMalformedStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "form"});
    return [form = Choose(step.Member("form"), kMalformedNames)](Hub& hub) { hub.PublishMalformed(form); };
}

FaultStep ReadCertificateStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "use"});
    return [kind = Choose(step.Member("use"), kCertificateNames)](Hub& hub) { hub.UseCertificate(kind); };
}

FaultStep ReadRefuseStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "status", "connect", "times"});
    const auto times = static_cast<std::size_t>(step.IntegerOr("times", 0, 1000000, 1));
    if (step.Has("status") == step.Has("connect")) {
        step.Fail("needs either \"status\" or \"connect\"");
    }
    if (step.Has("status")) {
        const auto status = static_cast<unsigned int>(step.Member("status").Integer(400, 599));
        return [status, times](Hub& hub) { hub.RefuseUpgrades(status, times); };
    }
    return [text = step.Member("connect").Text(), times](Hub& hub) { hub.RefuseConnect(text, times); };
}

FaultStep ReadTokensStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "accept", "revoke"});
    step.Member("accept");
    return [tokens = step.TextsOr("accept"), revoke = step.FlagOr("revoke", false)](Hub& hub) {
        hub.SetTokens(tokens, revoke);
    };
}

FaultStep ReadSlowStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "bytesPerSecond"});
    const auto rate = static_cast<std::size_t>(step.Member("bytesPerSecond").Integer(0, INT32_MAX));
    return [rate](Hub& hub) { hub.SlowSending(rate); };
}

FaultStep ReadMuteHeartBeatsStep(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "mute"});
    return [mute = step.FlagOr("mute", true)](Hub& hub) { hub.MuteHeartBeats(mute); };
}

}  // namespace quor_simulator
