#include "tools/qnscenario/ScenarioReader.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qn::tools::qnscenario {

using nlohmann::json;

void ScenarioReader::fail(const std::string& message) const {
    throw ScenarioError(m_line, m_where + ": " + message);
}

const json& ScenarioReader::object(const json& j,
                                   std::initializer_list<const char*> allowed) const {
    if (!j.is_object()) {
        fail("expected an object");
    }
    for (const auto& item : j.items()) {
        const std::string& key = item.key();
        const bool known =
            std::any_of(allowed.begin(), allowed.end(), [&](const char* a) { return key == a; });
        if (!known) {
            fail("unknown key \"" + key + "\"");
        }
    }
    return j;
}

const json& ScenarioReader::member(const json& o, const char* key) const {
    const auto found = o.find(key);
    if (found == o.end()) {
        fail(std::string("missing \"") + key + "\"");
    }
    return *found;
}

double ScenarioReader::number(const json& j, const char* what) const {
    if (!j.is_number()) {
        fail(std::string(what) + " must be a number");
    }
    return j.get<double>();
}

std::uint32_t ScenarioReader::uint32(const json& j, const char* what) const {
    if (!j.is_number_integer() || j.get<std::int64_t>() < 0 ||
        j.get<std::int64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        fail(std::string(what) + " must be an integer from 0 to 4294967295");
    }
    return j.get<std::uint32_t>();
}

std::int32_t ScenarioReader::int32(const json& j, const char* what) const {
    if (!j.is_number_integer() ||
        j.get<std::int64_t>() < std::numeric_limits<std::int32_t>::min() ||
        j.get<std::int64_t>() > std::numeric_limits<std::int32_t>::max()) {
        fail(std::string(what) + " must be a 32-bit integer");
    }
    return j.get<std::int32_t>();
}

bool ScenarioReader::boolean(const json& j, const char* what) const {
    if (!j.is_boolean()) {
        fail(std::string(what) + " must be true or false");
    }
    return j.get<bool>();
}

std::string ScenarioReader::string(const json& j, const char* what) const {
    if (!j.is_string()) {
        fail(std::string(what) + " must be a string");
    }
    return j.get<std::string>();
}

std::vector<std::string> ScenarioReader::strings(const json& j, const char* what) const {
    if (!j.is_array()) {
        fail(std::string(what) + " must be an array of strings");
    }
    std::vector<std::string> result;
    for (const auto& element : j) {
        result.push_back(string(element, what));
    }
    return result;
}

platform::CGRect ScenarioReader::rect(const json& j) const {
    if (!j.is_array() || j.size() != 4 ||
        !std::all_of(j.begin(), j.end(), [](const json& n) { return n.is_number(); })) {
        fail("a rectangle is [x, y, width, height]");
    }
    return platform::CGRectMake(j[0].get<double>(), j[1].get<double>(), j[2].get<double>(),
                                j[3].get<double>());
}

std::vector<platform::CGRect> ScenarioReader::rects(const json& j) const {
    if (!j.is_array()) {
        fail("expected an array of rectangles");
    }
    std::vector<platform::CGRect> result;
    for (const auto& element : j) {
        result.push_back(rect(element));
    }
    return result;
}

const json& ScenarioReader::dictionaryOrNull(const json& j, const char* what) const {
    if (!j.is_object() && !j.is_null()) {
        fail(std::string(what) + " must be an object or null");
    }
    return j;
}

platform::sim::SimDisplaySpec ScenarioReader::display(const json& j) const {
    object(j, {"id", "bounds", "mode", "online", "active", "asleep", "model", "vendor", "adapter",
               "service", "main"});
    platform::sim::SimDisplaySpec spec;
    auto& d = spec.display;
    d.id = uint32(member(j, "id"), "id");
    if (d.id == 0) {
        fail("a display id is not 0");
    }
    const auto mode = j.find("mode");
    if (mode != j.end() && mode->is_null()) {
        d.hasMode = false;
    } else if (mode != j.end()) {
        object(*mode, {"width", "height", "refreshRate"});
        d.pixelWidth = uint32(member(*mode, "width"), "mode width");
        d.pixelHeight = uint32(member(*mode, "height"), "mode height");
        d.refreshRate =
            mode->contains("refreshRate") ? number((*mode)["refreshRate"], "refreshRate") : 60.0;
    } else {
        d.pixelWidth = 1920;
        d.pixelHeight = 1080;
    }
    d.bounds = j.contains("bounds") ? rect(j["bounds"])
                                    : platform::CGRectMake(0, 0, static_cast<double>(d.pixelWidth),
                                                           static_cast<double>(d.pixelHeight));
    d.online = !j.contains("online") || boolean(j["online"], "online");
    d.active = !j.contains("active") || boolean(j["active"], "active");
    d.asleep = j.contains("asleep") && boolean(j["asleep"], "asleep");
    d.modelNumber = j.contains("model") ? uint32(j["model"], "model") : 0;
    d.vendorNumber = j.contains("vendor") ? uint32(j["vendor"], "vendor") : 0;
    if (j.contains("adapter")) {
        spec.adapterIndex = uint32(j["adapter"], "adapter");
    }
    spec.withService = !j.contains("service") || boolean(j["service"], "service");
    return spec;
}

platform::sim::SimCoreAudio::Device ScenarioReader::audioDevice(const json& j) const {
    object(j, {"id", "name", "manufacturer", "modelUID", "sampleRate"});
    platform::sim::SimCoreAudio::Device device;
    device.id = uint32(member(j, "id"), "id");
    device.name = j.contains("name") ? string(j["name"], "name") : "";
    device.manufacturer =
        j.contains("manufacturer") ? string(j["manufacturer"], "manufacturer") : "";
    device.modelUID = j.contains("modelUID") ? string(j["modelUID"], "modelUID") : "";
    device.sampleRate = j.contains("sampleRate") ? number(j["sampleRate"], "sampleRate") : 44100.0;
    return device;
}

}  // namespace qn::tools::qnscenario
