#include "scenario.h"

#include <algorithm>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>
#include <utility>

#include "choose.h"
#include "destinations.h"
#include "json_node.h"
#include "message_bodies.h"
#include "scenario_faults.h"
#include "scenario_message_faults.h"
#include "scenario_rest.h"

namespace quor_simulator {
namespace {

constexpr std::int64_t kMaxTimeMs = 24LL * 3600 * 1000;
/* How long the player waits for room in a link's queue before it gives that link's copy up. */
constexpr Milliseconds kPublishPatience{2000};

std::string LocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return {text, length};
}

double Seconds(Milliseconds time) {
    return static_cast<double>(time.count()) / 1000.0;
}

class Reader {
public:
    Scenario Read(const JsonNode& root);

private:
    struct Kind {
        const char* name;
        void (Reader::*read)(const JsonNode& step);
    };
    static const Kind kKinds[];

    void ReadPeople(const JsonNode& list);
    void ReadStep(const JsonNode& step);
    const Person& PersonOf(const JsonNode& node) const;
    std::vector<Person> PeopleOf(const JsonNode& list) const;
    bool Knows(const std::string& language) const;
    std::string LanguageOf(const JsonNode& node) const;
    void CheckTranslation(const std::string& language, const JsonNode& text, const std::string& spoken) const;
    PublishOptions FrameOf(const JsonNode& step) const;
    void Say(Milliseconds at, std::string destination, std::string body, PublishOptions options = {});
    void Do(FaultStep fault, bool isDrop = false);
    void Change(RestStep rest);
    PersonFinder Finder() const;

    void CheckIn(const JsonNode& step);
    void Utterance(const JsonNode& step);
    void Control(const JsonNode& step);
    void Sites(const JsonNode& step);
    void Overlay(const JsonNode& step);
    void Message(const JsonNode& step);
    void DropStep(const JsonNode& step) { Do(ReadDropStep(step), true); }
    void Freeze(const JsonNode& step) { Do(ReadFreezeStep(step)); }
    void Thaw(const JsonNode& step) { Do(ReadThawStep(step)); }
    void Malformed(const JsonNode& step) { Do(ReadMalformedStep(step)); }
    void UseCertificate(const JsonNode& step) { Do(ReadCertificateStep(step)); }
    void Refuse(const JsonNode& step) { Do(ReadRefuseStep(step)); }
    void Tokens(const JsonNode& step) { Do(ReadTokensStep(step)); }
    void Slow(const JsonNode& step) { Do(ReadSlowStep(step)); }
    void MuteHeartBeats(const JsonNode& step) { Do(ReadMuteHeartBeatsStep(step)); }
    void SetAnswerFault(const JsonNode& step) { Do(ReadAnswerFaultStep(step)); }
    void AnswerRelease(const JsonNode& step) { Do(ReadAnswerReleaseStep(step)); }
    void AnswerClear(const JsonNode& step) { Do(ReadAnswerClearStep(step)); }
    void Participants(const JsonNode& step);
    void HttpFault(const JsonNode& step) { Change(ReadHttpFaultStep(step)); }
    void HttpRelease(const JsonNode& step) { Change(ReadHttpReleaseStep(step)); }
    void HttpClear(const JsonNode& step) { Change(ReadHttpClearStep(step)); }

    Scenario m_scenario;
    std::map<std::string, Person> m_people; /* by uuid */
    std::vector<Person> m_order;            /* the same as the file lists them */
    std::vector<std::string> m_languages;
    Milliseconds m_at{0}; /* of the step being read */
    std::size_t m_step = 0;
};

const Reader::Kind Reader::kKinds[] = {
    {"checkIn", &Reader::CheckIn},
    {"utterance", &Reader::Utterance},
    {"control", &Reader::Control},
    {"sites", &Reader::Sites},
    {"overlay", &Reader::Overlay},
    {"message", &Reader::Message},
    {"drop", &Reader::DropStep},
    {"freeze", &Reader::Freeze},
    {"thaw", &Reader::Thaw},
    {"malformed", &Reader::Malformed},
    {"certificate", &Reader::UseCertificate},
    {"refuse", &Reader::Refuse},
    {"tokens", &Reader::Tokens},
    {"slow", &Reader::Slow},
    {"muteHeartBeats", &Reader::MuteHeartBeats},
    {"answerFault", &Reader::SetAnswerFault},
    {"answerRelease", &Reader::AnswerRelease},
    {"answerClear", &Reader::AnswerClear},
    {"participants", &Reader::Participants},
    {"httpFault", &Reader::HttpFault},
    {"httpRelease", &Reader::HttpRelease},
    {"httpClear", &Reader::HttpClear},
};

Scenario Reader::Read(const JsonNode& root) {
    root.AllowOnly(
        {"about", "conference", "people", "generate", "history", "languages", "repeat", "periodMs", "steps"});
    m_scenario.conference = root.Member("conference").Text();
    for (const JsonNode& language : root.Member("languages").Items()) {
        m_languages.push_back(language.Text());
    }
    ReadPeople(root.Member("people"));
    m_scenario.contents =
        MakeConference(m_order, static_cast<std::size_t>(root.IntegerOr("generate", 0, kMaxGenerated, 0)));
    if (root.Has("history")) {
        m_scenario.history = ReadHistory(root.Member("history"), Finder());
    }
    for (const JsonNode& step : root.Member("steps").Items()) {
        ReadStep(step);
        ++m_step;
    }
    if (m_step == 0) {
        root.Member("steps").Fail("must hold a step");
    }
    m_scenario.steps = m_step;
    std::stable_sort(m_scenario.actions.begin(), m_scenario.actions.end(),
                     [](const ScenarioAction& a, const ScenarioAction& b) { return a.at < b.at; });
    const std::int64_t last = m_scenario.actions.back().at.count();
    m_scenario.repeat = static_cast<std::uint64_t>(root.IntegerOr("repeat", 0, 1000000, 1));
    m_scenario.period = Milliseconds(
        root.IntegerOr("periodMs", std::max<std::int64_t>(last, 1), 2 * kMaxTimeMs, last + 1000));
    return std::move(m_scenario);
}

void Reader::ReadPeople(const JsonNode& list) {
    for (const JsonNode& item : list.Items()) {
        item.AllowOnly({"uuid", "name", "account"});
        Person person{item.Member("uuid").Text(), item.Member("name").Text(), item.Member("account").Text()};
        if (!m_people.emplace(person.uuid, person).second) {
            item.Member("uuid").Fail("\"" + person.uuid + "\" occurs twice");
        }
        m_order.push_back(person);
    }
}

void Reader::ReadStep(const JsonNode& step) {
    m_at = Milliseconds(step.Member("at").Integer(0, kMaxTimeMs));
    const JsonNode kindNode = step.Member("kind");
    const std::string name = kindNode.Text();
    std::string known;
    for (const Kind& kind : kKinds) {
        if (name == kind.name) {
            (this->*kind.read)(step);
            return;
        }
        known.append(known.empty() ? "" : ", ").append(kind.name);
    }
    kindNode.Fail("\"" + name + "\" is none of: " + known);
}

const Person& Reader::PersonOf(const JsonNode& node) const {
    const auto found = m_people.find(node.Text());
    if (found == m_people.end()) {
        node.Fail("no such person: \"" + node.Text() + "\"");
    }
    return found->second;
}

std::vector<Person> Reader::PeopleOf(const JsonNode& list) const {
    std::vector<Person> people;
    for (const JsonNode& item : list.Items()) {
        people.push_back(PersonOf(item));
    }
    return people;
}

bool Reader::Knows(const std::string& language) const {
    return std::find(m_languages.begin(), m_languages.end(), language) != m_languages.end();
}

std::string Reader::LanguageOf(const JsonNode& node) const {
    std::string language = node.Text();
    if (!Knows(language)) {
        node.Fail("\"" + language + "\" is not among the languages");
    }
    return language;
}

void Reader::CheckTranslation(const std::string& language, const JsonNode& text,
                              const std::string& spoken) const {
    if (!Knows(language)) {
        text.Fail("\"" + language + "\" is not among the languages");
    }
    if (language == spoken) {
        text.Fail("is the language that is spoken");
    }
}

PublishOptions Reader::FrameOf(const JsonNode& step) const {
    PublishOptions options;
    options.timeout = kPublishPatience;
    if (!step.Has("frame")) {
        return options;
    }
    constexpr std::int64_t kMostPieces = 100000;
    const JsonNode frame = step.Member("frame");
    frame.AllowOnly({"crlf", "binary", "contentType", "contentLength", "messages", "fragments", "copies"});
    options.crlf = frame.FlagOr("crlf", false);
    options.binary = frame.FlagOr("binary", false);
    if (!frame.FlagOr("contentType", true)) {
        options.contentType = std::nullopt;
    }
    if (frame.Has("contentLength")) {
        options.contentLength = Choose(frame.Member("contentLength"), kContentLengthNames);
    }
    options.messages = static_cast<std::size_t>(frame.IntegerOr("messages", 1, kMostPieces, 1));
    options.fragments = static_cast<std::size_t>(frame.IntegerOr("fragments", 1, kMostPieces, 1));
    options.copies = static_cast<std::size_t>(frame.IntegerOr("copies", 1, 100, 1));
    return options;
}

void Reader::Say(Milliseconds at, std::string destination, std::string body, PublishOptions options) {
    ScenarioAction action;
    action.at = at;
    action.step = m_step;
    options.timeout = kPublishPatience;
    action.message = ScenarioMessage{std::move(destination), std::move(body), std::move(options)};
    m_scenario.actions.push_back(std::move(action));
}

void Reader::Do(FaultStep fault, bool isDrop) {
    ScenarioAction action;
    action.at = m_at;
    action.step = m_step;
    action.fault = std::move(fault);
    action.isDrop = isDrop;
    m_scenario.actions.push_back(std::move(action));
}

void Reader::Change(RestStep rest) {
    ScenarioAction action;
    action.at = m_at;
    action.step = m_step;
    action.rest = std::move(rest);
    m_scenario.actions.push_back(std::move(action));
}

PersonFinder Reader::Finder() const {
    return [this](const JsonNode& node) -> const Person& { return PersonOf(node); };
}

void Reader::Participants(const JsonNode& step) {
    Change(ReadParticipantsStep(step, m_scenario.conference, Finder()));
}

void Reader::CheckIn(const JsonNode& step) {
    StepFault fault(step, {"at", "kind", "people", "time", "type", "frame"});
    const std::vector<Person> people = PeopleOf(step.Member("people"));
    const std::string time = step.TextOr("time", LocalTime());
    const std::string type = step.TextOr("type", "normal");
    if (people.empty()) {
        step.Member("people").Fail("must name somebody");
    }
    for (std::size_t from = 0; from < people.size(); from += kMaxCheckInsPerMessage) {
        const std::size_t to = std::min(people.size(), from + kMaxCheckInsPerMessage);
        using Offset = std::vector<Person>::difference_type;
        const std::vector<Person> some(people.begin() + static_cast<Offset>(from),
                                       people.begin() + static_cast<Offset>(to));
        Say(m_at, CheckInTopic(m_scenario.conference), fault.Apply(CheckInBody(some, time, type)),
            FrameOf(step));
        m_scenario.actions.back().rest = [conference = m_scenario.conference, some, time, type](Rest& rest) {
            for (const Person& person : some) {
                rest.CheckIn(conference, CheckedIn(person, time, type));
            }
        };
    }
    fault.Check();
}

void Reader::Utterance(const JsonNode& step) {
    StepFault fault(
        step, {"at", "kind", "speaker", "srcLang", "interim", "intervalMs", "text", "translations", "frame"});
    Caption caption;
    caption.speaker = PersonOf(step.Member("speaker"));
    caption.srcLang = LanguageOf(step.Member("srcLang"));
    caption.startTimeS = Seconds(m_at);
    const Milliseconds interval(step.IntegerOr("intervalMs", 0, kMaxTimeMs, 300));
    const std::string topic = CaptionTopic(m_scenario.conference, caption.srcLang);
    Milliseconds at = m_at;
    caption.isFinal = false;
    for (const std::string& text : step.TextsOr("interim")) {
        caption.text = text;
        caption.endTimeS = Seconds(at);
        Say(at, topic, fault.Apply(CaptionBody(caption)), FrameOf(step));
        at += interval;
    }
    caption.isFinal = true;
    caption.text = step.Member("text").Text();
    caption.endTimeS = Seconds(at);
    Say(at, topic, fault.Apply(CaptionBody(caption)), FrameOf(step));
    if (step.Has("translations")) {
        for (const auto& [language, text] : step.Member("translations").Members()) {
            CheckTranslation(language, text, caption.srcLang);
            caption.dstLang = language;
            caption.transText = text.Text();
            Say(at, CaptionTopic(m_scenario.conference, language), fault.Apply(CaptionBody(caption)),
                FrameOf(step));
        }
    }
    fault.Check();
}

void Reader::Control(const JsonNode& step) {
    StepFault fault(step, {"at", "kind", "subtitleStatus", "srcLang", "dstLang", "enforce", "frame"});
    ControlState state;
    state.subtitleStatus = static_cast<int>(step.Member("subtitleStatus").Integer(INT32_MIN, INT32_MAX));
    state.srcLang = step.TextOr("srcLang", "");
    state.dstLang = step.TextOr("dstLang", "");
    if (step.Has("enforce")) {
        state.enforce = static_cast<int>(step.Member("enforce").Integer(INT32_MIN, INT32_MAX));
    }
    Say(m_at, ConferenceTopic(m_scenario.conference), fault.Apply(ControlBody(state)), FrameOf(step));
    fault.Check();
}

void Reader::Sites(const JsonNode& step) {
    StepFault fault(step, {"at", "kind", "type", "people", "generate", "frame"});
    std::vector<Site> sites;
    if (step.Has("people")) {
        for (const Person& person : PeopleOf(step.Member("people"))) {
            sites.push_back({person.uuid, person.name});
        }
    }
    const std::int64_t generated = step.IntegerOr("generate", 0, kMaxSites, 0);
    for (std::int64_t i = 1; i <= generated; ++i) {
        sites.push_back({"site-" + std::to_string(i), "Site " + std::to_string(i)});
    }
    if (sites.empty() || sites.size() > kMaxSites) {
        step.Fail("must name or generate 1 to " + std::to_string(kMaxSites) + " sites");
    }
    const int type = static_cast<int>(step.IntegerOr("type", 0, INT32_MAX, 0));
    Say(m_at, SitesTopic(m_scenario.conference), fault.Apply(SitesBody(type, sites)), FrameOf(step));
    fault.Check();
}

void Reader::Overlay(const JsonNode& step) {
    StepFault fault(step, {"at", "kind", "terminal", "uri", "pause", "frame"});
    const std::string body = OverlayBody(step.Member("uri").Text(), step.Member("pause").Flag());
    Say(m_at, OverlayTopic(step.Member("terminal").Text()), fault.Apply(body), FrameOf(step));
    fault.Check();
}

void Reader::Message(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "destination", "body", "frame"});
    const Json& body = step.Member("body").value();
    Say(m_at, step.Member("destination").Text(), body.is_string() ? body.get<std::string>() : body.dump(),
        FrameOf(step));
}

}  // namespace

Scenario ParseScenario(std::string_view text, const std::string& name) {
    Json document;
    try {
        document = Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw Error(name + ": " + error.what());
    }
    return Reader().Read(JsonNode(document, name));
}

Scenario ReadScenarioFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        throw Error(path + ": cannot be read");
    }
    return ParseScenario(text.str(), path);
}

}  // namespace quor_simulator
