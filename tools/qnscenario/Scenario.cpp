#include "tools/qnscenario/Scenario.h"

#include <map>
#include <set>

#include "sys/libutils/LogLevel.h"
#include "tools/qnscenario/JsonLines.h"
#include "tools/qnscenario/ScenarioPlayer.h"
#include "tools/qnscenario/ScenarioReader.h"
#include "tools/transcript/JsonNesting.h"
#include "tools/transcript/ValueJson.h"

namespace qn::tools::qnscenario {

using nlohmann::json;
using platform::sim::SimManager;
using transcript::valueFromJson;
using StepRun = std::function<bool(ScenarioPlayer&, std::string&)>;

namespace {

// Wraps an action that cannot fail.
template <typename Action>
StepRun always(Action action) {
    return [action](ScenarioPlayer& player, std::string&) {
        action(player);
        return true;
    };
}

std::function<void(ScenarioPlayer&)> worldSetUp(const json& world, const ScenarioReader& r) {
    r.object(world, {"kernelRelease", "pid", "securitySessionId", "sessionInfoFails", "zoom",
                     "windowServer", "session", "manager", "displays", "audioDevices", "strings",
                     "signalFails", "logVerbosity", "streaming"});
    std::vector<std::function<void(ScenarioPlayer&)>> actions;
    if (world.contains("kernelRelease")) {
        const auto release = r.string(world["kernelRelease"], "kernelRelease");
        actions.push_back(
            [release](ScenarioPlayer& p) { p.host().system().setKernelRelease(release); });
    }
    if (world.contains("pid")) {
        const auto pid = r.uint32(world["pid"], "pid");
        actions.push_back(
            [pid](ScenarioPlayer& p) { p.host().system().setPid(static_cast<pid_t>(pid)); });
    }
    if (world.contains("securitySessionId")) {
        const auto id = r.uint32(world["securitySessionId"], "securitySessionId");
        actions.push_back([id](ScenarioPlayer& p) { p.host().system().setSecuritySessionId(id); });
    }
    if (world.contains("sessionInfoFails")) {
        const auto fails = r.boolean(world["sessionInfoFails"], "sessionInfoFails");
        actions.push_back(
            [fails](ScenarioPlayer& p) { p.host().system().setSessionInfoFails(fails); });
    }
    if (world.contains("signalFails")) {
        const auto fails = r.boolean(world["signalFails"], "signalFails");
        actions.push_back([fails](ScenarioPlayer& p) { p.host().system().setSignalFails(fails); });
    }
    if (world.contains("zoom")) {
        const auto zoom = r.boolean(world["zoom"], "zoom");
        actions.push_back([zoom](ScenarioPlayer& p) { p.host().system().setZoom(zoom); });
    }
    if (world.contains("windowServer")) {
        const auto running = r.boolean(world["windowServer"], "windowServer");
        actions.push_back(
            [running](ScenarioPlayer& p) { p.host().quartz().setWindowServer(running); });
    }
    if (world.contains("session")) {
        const auto session = valueFromJson(r.dictionaryOrNull(world["session"], "session"));
        actions.push_back([session](ScenarioPlayer& p) { p.host().quartz().setSession(session); });
    }
    if (world.contains("manager")) {
        const auto state = r.string(world["manager"], "manager");
        if (state != "up" && state != "down") {
            r.fail("manager must be \"up\" or \"down\"");
        }
        actions.push_back(
            [state](ScenarioPlayer& p) { p.host().manager().setRegistered(state == "up"); });
    }
    if (world.contains("displays")) {
        if (!world["displays"].is_array()) {
            r.fail("displays must be an array");
        }
        for (const auto& d : world["displays"]) {
            const auto spec = r.display(d);
            const bool main = d.contains("main") && r.boolean(d["main"], "main");
            actions.push_back([spec, main](ScenarioPlayer& p) {
                p.world().placeDisplay(spec);
                if (main) {
                    p.host().quartz().setMainDisplay(spec.display.id);
                }
            });
        }
    }
    if (world.contains("audioDevices")) {
        if (!world["audioDevices"].is_array()) {
            r.fail("audioDevices must be an array");
        }
        for (const auto& a : world["audioDevices"]) {
            const auto device = r.audioDevice(a);
            actions.push_back(
                [device](ScenarioPlayer& p) { p.host().coreAudio().addDevice(device); });
        }
        // Told to nobody: the world is in place before the agent listens.
        actions.push_back([](ScenarioPlayer& p) { p.host().coreAudio().flush(); });
    }
    if (world.contains("logVerbosity")) {
        // A level name, so that VERBOSE lines can be checked too.
        const auto name = r.string(world["logVerbosity"], "logVerbosity");
        const auto level = sys::loglevel::parseLevel(name, -1);
        if (level < 0) {
            r.fail("logVerbosity is a level name, ALWAYS to VERBOSE");
        }
        actions.push_back([level](ScenarioPlayer& p) { p.setLogVerbosity(level); });
    }
    if (world.contains("strings")) {
        // {"table": {"key": "text"}}: the bundle's strings tables.
        const auto& tables = world["strings"];
        if (!tables.is_object()) {
            r.fail("strings must be an object of tables");
        }
        for (const auto& [table, entries] : tables.items()) {
            if (!entries.is_object()) {
                r.fail("strings table \"" + table + "\" must be an object");
            }
            for (const auto& [key, text] : entries.items()) {
                const auto t = table;
                const auto k = key;
                const auto v = r.string(text, "a string's text");
                actions.push_back([t, k, v](ScenarioPlayer& p) {
                    p.host().foundation().setLocalizedString(t, k, v);
                });
            }
        }
    }
    if (world.contains("streaming")) {
        // {"releaseDelay": s (below 0: only by releaseLastFrame), "png": dir, "keepEvery": n}
        const auto& streaming = r.object(world["streaming"], {"releaseDelay", "png", "keepEvery"});
        platform::sim::SimStreamingManager::Options options;
        if (streaming.contains("releaseDelay")) {
            options.releaseDelay = r.number(streaming["releaseDelay"], "releaseDelay");
        }
        if (streaming.contains("png")) {
            options.pngDirectory = r.string(streaming["png"], "png");
        }
        if (streaming.contains("keepEvery")) {
            options.keepEvery = r.uint32(streaming["keepEvery"], "keepEvery");
        }
        actions.push_back([options](ScenarioPlayer& p) { p.streaming().setOptions(options); });
    }
    return [actions](ScenarioPlayer& p) {
        for (const auto& action : actions) {
            action(p);
        }
    };
}

using StepBuilder = StepRun (*)(const json& argument, const ScenarioReader& r);

const std::map<std::string, StepBuilder>& stepBuilders() {
    static const std::map<std::string, StepBuilder> builders{
        {"advance",
         [](const json& a, const ScenarioReader& r) {
             const double seconds = r.number(a, "advance");
             if (seconds < 0) {
                 r.fail("advance takes seconds, 0 or more");
             }
             return always(
                 [seconds](ScenarioPlayer& p) { p.host().runLoop().advanceSeconds(seconds); });
         }},
        {"manager",
         [](const json& a, const ScenarioReader& r) {
             const auto what = r.string(a, "manager");
             static const std::map<std::string, int> known{
                 {"up", 0}, {"down", 1}, {"die", 2}, {"die-silently", 3}, {"die-proxies", 4}};
             const auto found = known.find(what);
             if (found == known.end()) {
                 r.fail("manager is one of up, down, die, die-silently, die-proxies");
             }
             const int choice = found->second;
             return always([choice](ScenarioPlayer& p) {
                 auto& m = p.host().manager();
                 switch (choice) {
                     case 0:
                         m.comeBack();
                         break;
                     case 1:
                         m.setRegistered(false);
                         break;
                     case 2:
                         m.die(SimManager::DeathNotice::Connection);
                         break;
                     case 3:
                         m.die(SimManager::DeathNotice::None);
                         break;
                     default:
                         m.die(SimManager::DeathNotice::Proxies);
                         break;
                 }
             });
         }},
        {"failCall",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"selector", "reason", "times"});
             const auto selector = r.string(r.member(a, "selector"), "selector");
             const auto reason = r.string(r.member(a, "reason"), "reason");
             const int times = a.contains("times") ? r.int32(a["times"], "times") : -1;
             return always(
                 [=](ScenarioPlayer& p) { p.host().manager().failCall(selector, reason, times); });
         }},
        {"clearFailures",
         [](const json&, const ScenarioReader&) {
             return always([](ScenarioPlayer& p) { p.host().manager().clearFailures(); });
         }},
        {"post",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"name", "userInfo"});
             const auto name = r.string(r.member(a, "name"), "name");
             const auto userInfo =
                 a.contains("userInfo")
                     ? valueFromJson(r.dictionaryOrNull(a["userInfo"], "userInfo"))
                     : platform::Value();
             return always([=](ScenarioPlayer& p) { p.host().manager().post(name, userInfo); });
         }},
        {"plugDisplay",
         [](const json& a, const ScenarioReader& r) {
             const auto spec = r.display(a);
             return always([spec](ScenarioPlayer& p) { p.world().plugDisplay(spec); });
         }},
        {"unplugDisplay",
         [](const json& a, const ScenarioReader& r) {
             const auto id = r.uint32(a, "unplugDisplay");
             return always([id](ScenarioPlayer& p) { p.world().unplugDisplay(id); });
         }},
        {"placeDisplay",
         [](const json& a, const ScenarioReader& r) {
             const auto spec = r.display(a);
             return always([spec](ScenarioPlayer& p) { p.world().placeDisplay(spec); });
         }},
        {"vanishDisplay",
         [](const json& a, const ScenarioReader& r) {
             const auto id = r.uint32(a, "vanishDisplay");
             return always([id](ScenarioPlayer& p) { p.world().vanishDisplay(id); });
         }},
        {"setMode",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"id", "width", "height", "refreshRate"});
             const auto id = r.uint32(r.member(a, "id"), "id");
             const auto w = r.uint32(r.member(a, "width"), "width");
             const auto h = r.uint32(r.member(a, "height"), "height");
             const auto rate = r.number(r.member(a, "refreshRate"), "refreshRate");
             return always([=](ScenarioPlayer& p) { p.host().quartz().setMode(id, w, h, rate); });
         }},
        {"sleepDisplay",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"id", "asleep"});
             const auto id = r.uint32(r.member(a, "id"), "id");
             const auto asleep = r.boolean(r.member(a, "asleep"), "asleep");
             return always([=](ScenarioPlayer& p) { p.host().quartz().setAsleep(id, asleep); });
         }},
        {"reconfigure",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"id", "flags"});
             const auto id = r.uint32(r.member(a, "id"), "id");
             const auto flags = r.uint32(r.member(a, "flags"), "flags");
             return always([=](ScenarioPlayer& p) { p.host().quartz().reconfigure(id, flags); });
         }},
        {"refresh",
         [](const json& a, const ScenarioReader& r) {
             const auto rects = r.rects(a);
             return always([rects](ScenarioPlayer& p) { p.host().quartz().refresh(rects); });
         }},
        {"move",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"dX", "dY", "rects"});
             const platform::CGScreenUpdateMoveDelta delta{r.int32(r.member(a, "dX"), "dX"),
                                                           r.int32(r.member(a, "dY"), "dY")};
             const auto rects = r.rects(r.member(a, "rects"));
             return always([=](ScenarioPlayer& p) { p.host().quartz().move(delta, rects); });
         }},
        {"frame",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"display", "rects", "status"});
             const auto display = r.uint32(r.member(a, "display"), "display");
             const auto rects =
                 a.contains("rects") ? r.rects(a["rects"]) : std::vector<platform::CGRect>{};
             const auto status = a.contains("status") ? r.uint32(a["status"], "status") : 0;
             if (status > 3) {
                 r.fail("status is 0 (complete), 1 (idle), 2 (blank) or 3 (stopped)");
             }
             return always([=](ScenarioPlayer& p) {
                 p.host().quartz().deliverFrame(
                     display, rects, static_cast<platform::CGDisplayStreamFrameStatus>(status));
             });
         }},
        {"startStream",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"display", "adapter", "token"});
             const auto display = r.uint32(r.member(a, "display"), "display");
             const auto adapter = r.uint32(r.member(a, "adapter"), "adapter");
             const auto token = a.contains("token") ? r.int32(a["token"], "token") : 1;
             return always(
                 [=](ScenarioPlayer& p) { p.streaming().startStream(display, adapter, token); });
         }},
        {"stopStream",
         [](const json& a, const ScenarioReader& r) {
             const auto display = r.uint32(a, "stopStream");
             return always([display](ScenarioPlayer& p) { p.streaming().stopStream(display); });
         }},
        {"releaseLastFrame",
         [](const json& a, const ScenarioReader& r) -> StepRun {
             const auto display = r.uint32(a, "releaseLastFrame");
             return [display](ScenarioPlayer& p, std::string& why) {
                 if (p.streaming().releaseLastFrame(display)) {
                     return true;
                 }
                 why = "the Manager holds no frame of display " + std::to_string(display);
                 return false;
             };
         }},
        {"restartManager",
         [](const json& a, const ScenarioReader& r) {
             r.boolean(a, "restartManager");
             return always([](ScenarioPlayer& p) { p.streaming().restart(); });
         }},
        {"frames",
         [](const json& a, const ScenarioReader& r) {
             // {"displays": [id, ...], "count": n, "interval": s, "rects": [...]}: n frames
             // for each display, one every interval seconds from now; without rects a
             // small square walks along the top of the screen.
             r.object(a, {"displays", "count", "interval", "rects"});
             std::vector<std::uint32_t> displays;
             const auto& list = r.member(a, "displays");
             if (!list.is_array() || list.empty()) {
                 r.fail("displays must be an array of display ids");
             }
             for (const auto& d : list) {
                 displays.push_back(r.uint32(d, "display"));
             }
             const auto count = r.uint32(r.member(a, "count"), "count");
             const double interval = r.number(r.member(a, "interval"), "interval");
             if (interval <= 0) {
                 r.fail("interval must be above 0");
             }
             const bool walk = !a.contains("rects");
             const auto rects = walk ? std::vector<platform::CGRect>{} : r.rects(a["rects"]);
             return always([=](ScenarioPlayer& p) {
                 auto& runLoop = p.host().runLoop();
                 for (std::uint32_t i = 0; i < count; ++i) {
                     const auto at =
                         runLoop.now() + static_cast<platform::sim::SimRunLoop::Nanoseconds>(
                                             i * interval * platform::sim::SimRunLoop::kSecond);
                     runLoop.scheduleWorld(at, [&p, displays, rects, walk, i] {
                         for (const auto display : displays) {
                             auto frameRects = rects;
                             if (walk) {
                                 frameRects = {platform::CGRectMake((i * 16) % 256, 0, 16, 16)};
                             }
                             p.host().quartz().deliverFrame(display, frameRects);
                         }
                     });
                 }
             });
         }},
        {"session",
         [](const json& a, const ScenarioReader& r) {
             const auto session = valueFromJson(r.dictionaryOrNull(a, "session"));
             return always([session](ScenarioPlayer& p) { p.host().quartz().setSession(session); });
         }},
        {"zoom",
         [](const json& a, const ScenarioReader& r) {
             const auto on = r.boolean(a, "zoom");
             return always([on](ScenarioPlayer& p) { p.host().system().setZoom(on); });
         }},
        {"signal",
         [](const json& a, const ScenarioReader& r) {
             const auto number = r.int32(a, "signal");
             return always([number](ScenarioPlayer& p) { p.signal(number); });
         }},
        {"workspace",
         [](const json& a, const ScenarioReader& r) {
             const auto name = r.string(a, "workspace");
             return always([name](ScenarioPlayer& p) {
                 p.host().appKit().workspaceNotificationCenter().postNotificationName(name,
                                                                                      nullptr);
             });
         }},
        {"addAudioDevice",
         [](const json& a, const ScenarioReader& r) {
             const auto device = r.audioDevice(a);
             return always([device](ScenarioPlayer& p) {
                 p.host().coreAudio().addDevice(device);
                 p.host().coreAudio().flush();
             });
         }},
        {"removeAudioDevice",
         [](const json& a, const ScenarioReader& r) {
             const auto id = r.uint32(a, "removeAudioDevice");
             return always([id](ScenarioPlayer& p) {
                 p.host().coreAudio().removeDevice(id);
                 p.host().coreAudio().flush();
             });
         }},
        {"connect",
         [](const json& a, const ScenarioReader& r) {
             r.boolean(a, "connect");
             return always([](ScenarioPlayer& p) { p.connect(); });
         }},
        {"call",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"selector", "arguments"});
             const auto selector = r.string(r.member(a, "selector"), "selector");
             std::vector<platform::Value> arguments;
             if (a.contains("arguments")) {
                 if (!a["arguments"].is_array()) {
                     r.fail("arguments must be an array");
                 }
                 for (const auto& argument : a["arguments"]) {
                     arguments.push_back(valueFromJson(argument));
                 }
             }
             return always([=](ScenarioPlayer& p) { p.call(selector, arguments); });
         }},
        {"observe",
         [](const json& a, const ScenarioReader& r) {
             const auto names = r.strings(a, "observe");
             return always([names](ScenarioPlayer& p) {
                 for (const auto& name : names) {
                     p.observe(name);
                 }
             });
         }},
        {"watchDisplays",
         [](const json& a, const ScenarioReader& r) {
             r.boolean(a, "watchDisplays");
             return always([](ScenarioPlayer& p) { p.watchDisplays(); });
         }},
        {"showMessage",
         [](const json& a, const ScenarioReader& r) {
             r.object(a, {"text", "title", "link"});
             const auto text = r.string(r.member(a, "text"), "text");
             const bool titled = a.contains("title");
             const auto title = titled ? r.string(a["title"], "title") : std::string();
             const auto link = a.contains("link") ? r.string(a["link"], "link") : std::string();
             return always([=](ScenarioPlayer& p) { p.showMessage(text, titled, title, link); });
         }},
        {"clickIcon",
         [](const json& a, const ScenarioReader& r) -> StepRun {
             const auto window = r.uint32(a, "clickIcon");
             return
                 [window](ScenarioPlayer& p, std::string& why) { return p.clickIcon(window, why); };
         }},
        {"expect",
         [](const json& a, const ScenarioReader& r) -> StepRun {
             r.object(a, {"calls", "observed"});
             const bool checkCalls = a.contains("calls");
             const bool checkObserved = a.contains("observed");
             const auto calls =
                 checkCalls ? r.strings(a["calls"], "calls") : std::vector<std::string>{};
             const auto observed =
                 checkObserved ? r.strings(a["observed"], "observed") : std::vector<std::string>{};
             return [=](ScenarioPlayer& p, std::string& why) {
                 return (!checkCalls || p.expectCalls(calls, why)) &&
                        (!checkObserved || p.expectObserved(observed, why));
             };
         }},
    };
    return builders;
}

// Steps that stand in for the agent, meaningless while the agent itself runs.
const std::set<std::string>& standInSteps() {
    static const std::set<std::string> steps{"connect", "call", "observe", "watchDisplays",
                                             "showMessage"};
    return steps;
}

}  // namespace

Scenario parseScenario(const std::string& text) {
    if (const int deep = transcript::lineNestedDeeperThan(text, transcript::kMaxJsonNesting);
        deep != 0) {
        throw ScenarioError(
            deep, "nested deeper than " + std::to_string(transcript::kMaxJsonNesting) + " levels");
    }
    json document;
    try {
        document = json::parse(text);
    } catch (const json::parse_error& e) {
        const auto [line, column] = lineAndColumn(text, e.byte == 0 ? 0 : e.byte - 1);
        throw ScenarioError(line, "column " + std::to_string(column) + ": not valid JSON");
    }
    ScenarioReader top(1, "scenario");
    top.object(document, {"description", "agent", "world", "steps"});

    Scenario scenario;
    if (document.contains("agent")) {
        scenario.agent = top.boolean(document["agent"], "agent");
    }
    if (document.contains("description")) {
        scenario.description = top.string(document["description"], "description");
    }
    const ScenarioReader worldReader(topLevelKeyLine(text, "world"), "world");
    scenario.setUp =
        worldSetUp(document.contains("world") ? document["world"] : json::object(), worldReader);

    if (!document.contains("steps")) {
        return scenario;
    }
    const ScenarioReader stepsReader(topLevelKeyLine(text, "steps"), "steps");
    if (!document["steps"].is_array()) {
        stepsReader.fail("must be an array");
    }
    const auto lines = arrayElementLines(text, "steps");
    std::size_t index = 0;
    double clock = 0;
    for (const auto& step : document["steps"]) {
        const int line = index < lines.size() ? lines[index] : stepsReader.line();
        ++index;
        const ScenarioReader r(line, "step " + std::to_string(index));
        if (!step.is_object() || step.size() != 1) {
            r.fail("a step is an object with one key, the kind of step");
        }
        const auto& kind = step.begin().key();
        const auto builder = stepBuilders().find(kind);
        if (builder == stepBuilders().end()) {
            r.fail("unknown step \"" + kind + "\"");
        }
        const ScenarioReader stepReader(line, "step " + std::to_string(index) + " (" + kind + ")");
        if (scenario.agent && standInSteps().count(kind)) {
            stepReader.fail("the agent itself plays this part");
        }
        ScenarioStep played{line, kind, 0, builder->second(step.begin().value(), stepReader)};
        if (kind == "advance") {
            played.advance = stepReader.number(step.begin().value(), "advance");
            // The virtual clock counts whole nanoseconds in 64 bits.
            clock += played.advance;
            if (!(clock <= platform::sim::SimRunLoop::kLongestSeconds)) {
                stepReader.fail("the virtual clock cannot go past " +
                                std::to_string(static_cast<long long>(
                                    platform::sim::SimRunLoop::kLongestSeconds)) +
                                " s");
            }
        }
        scenario.steps.push_back(std::move(played));
    }
    return scenario;
}

}  // namespace qn::tools::qnscenario
