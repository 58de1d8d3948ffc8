#include "tools/blade/members.h"

#include "tools/blade/hardware.h"

#include <nlohmann/json.hpp>

#include <stdexcept>

namespace tools {

namespace {

std::string identityOf(const Place& place) {
    return toJson(readHardware(place, true, false))
               .dump(2, ' ', false, Json::error_handler_t::replace) +
           "\n";
}

std::string environmentOf() {
    std::string text;
    for (auto const& [name, value] : readEnvironment().variables) {
        text.append(name).append(1, '=').append(value).append(1, '\0');
    }
    return text;
}

} // namespace

std::map<std::string, std::string> bladeMembers(const Place& place, bool isBlade) {
    std::map<std::string, std::string> members;
    for (const char* const path : {identityMember, environmentMember}) {
        try {
            members[path] = !isBlade                 ? place.read(path)
                            : path == identityMember ? identityOf(place)
                                                     : environmentOf();
        } catch (const std::exception&) { // a copy of the volumes alone has none
        }
    }
    return members;
}

std::string serialOf(const std::string& identity) {
    Json const document = Json::parse(identity, nullptr, false);
    if (document.is_object() && document.contains("readings") && document["readings"].is_array()) {
        for (const Json& reading : document["readings"]) {
            if (reading.is_object() && reading.value("name", Json()) == "serial number") {
                Json const value = reading.value("value", Json());
                return value.is_string() ? value.get<std::string>() : "";
            }
        }
    }
    return "";
}

VariableValues variablesOf(const std::string& environment) {
    VariableValues variables;
    for (std::size_t begin = 0; begin < environment.size();) {
        std::string const text = environment.c_str() + begin;
        std::size_t const equals = text.find('=');
        if (equals != std::string::npos) {
            variables.emplace_back(text.substr(0, equals), text.substr(equals + 1));
        }
        begin += text.size() + 1;
    }
    return variables;
}

} // namespace tools
