// Events as the bodies of messages.
#include "common/event_body.h"

#include <charconv>

#include "common/format.h"
#include "common/xml_text.h"

namespace example {

namespace {

struct KindName {
    Event::Kind kind;
    const char* name;
};
constexpr KindName kKindNames[] = {
    {Event::Kind::kStopped, "stopped"},
    {Event::Kind::kExited, "exited"},
    {Event::Kind::kDetached, "detached"},
    {Event::Kind::kOutput, "output"},
    {Event::Kind::kModuleLoaded, "module-loaded"},
    {Event::Kind::kThreadStarted, "thread-started"},
    {Event::Kind::kThreadEnded, "thread-ended"},
};

std::string Attribute(const char* name, const std::string& value) {
    return value.empty() ? "" : Format(" %s=\"", name) + EscapeXml(value) + "\"";
}

std::string Attribute(const char* name, std::uint64_t value, const char* format = "%llu") {
    return value == 0 ? "" : Attribute(name, Format(format, Wide(value)));
}

// A program may write any bytes. Those that XML cannot carry as text go as Base64.
std::string OutputAttributes(bool is_text) {
    return is_text ? " encoding=\"utf-8\" xml:space=\"preserve\"" : " encoding=\"base64\"";
}

// "71" or "0x401136"; 0 for what is no number.
template <class Number>
Number ToNumber(const std::string& text) {
    const bool hex = text.compare(0, 2, "0x") == 0;
    Number value = 0;
    (void)std::from_chars(text.data() + (hex ? 2 : 0), text.data() + text.size(), value,
                          hex ? 16 : 10);  // leaves 0
    return value;
}

}  // namespace

const char* NameOf(Event::Kind kind) {
    for (const KindName& entry : kKindNames) {
        if (entry.kind == kind) {
            return entry.name;
        }
    }
    return "";
}

std::string DescribeStop(const Event& stop) {
    std::string text = stop.reason;
    if (stop.breakpoint != 0 && stop.reason == "breakpoint") {
        text += Format(" %d", stop.breakpoint);
    }
    text += Format(" in thread %llu", Wide(stop.thread));
    text += stop.symbol.empty() ? Format(" at 0x%llx", Wide(stop.address))
                                : " at " + stop.symbol + Format(" (0x%llx)", Wide(stop.address));
    return stop.text.empty() ? text : text + ": " + stop.text;
}

std::string MakeEvent(const Event& event) {
    const bool is_output = event.kind == Event::Kind::kOutput;
    const bool is_text = !is_output || IsXmlText(event.text);
    std::string body = "<event" + Attribute("name", NameOf(event.kind));
    body += Attribute("reason", event.reason);
    body += Attribute("process", event.process);
    body += Attribute("thread", event.thread);
    body += Attribute("address", event.address, "0x%llx");
    body += Attribute("symbol", event.symbol);
    body += Attribute("breakpoint", static_cast<std::uint64_t>(event.breakpoint));
    if (event.kind == Event::Kind::kExited) {
        body += Attribute("code", std::to_string(event.code));
    }
    if (is_output) {
        body += OutputAttributes(is_text);
    }
    return body + ">" + (is_text ? EscapeXml(event.text) : ZTK::Base64EncodeStandard(event.text)) +
           "</event>";
}

bool ReadEvent(XmlBody& body, Event* event) {
    const std::string name = body.Attribute(L"name");
    *event = Event();
    bool known = false;
    for (const KindName& entry : kKindNames) {
        if (name == entry.name) {
            event->kind = entry.kind;
            known = true;
        }
    }
    event->reason = body.Attribute(L"reason");
    event->process = ToNumber<std::uint64_t>(body.Attribute(L"process"));
    event->thread = ToNumber<std::uint64_t>(body.Attribute(L"thread"));
    event->address = ToNumber<std::uint64_t>(body.Attribute(L"address"));
    event->symbol = body.Attribute(L"symbol");
    event->breakpoint = ToNumber<int>(body.Attribute(L"breakpoint"));
    event->code = ToNumber<std::int64_t>(body.Attribute(L"code"));
    event->text = body.Text();
    if (body.Attribute(L"encoding") == "base64") {
        const auto bytes = ZTK::Base64DecodeStandard<std::string>(event->text);
        known = known && bytes.has_value();
        event->text = bytes.value_or("");
    }
    return known;
}

}  // namespace example
