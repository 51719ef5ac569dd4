#pragma once

#include <QString>

#include <array>
#include <optional>

// The four agents, in their order of presentation. The raw value is the agent's identifier in
// the workspace, in character packages and in links.
enum class VantleAgent { dorn, lirra, morvo, pelka };

namespace VantleAgents {

inline constexpr std::array<VantleAgent, 4> all{VantleAgent::dorn, VantleAgent::lirra, VantleAgent::morvo,
                                                VantleAgent::pelka};

inline QString rawValue(VantleAgent agent) {
    switch (agent) {
    case VantleAgent::dorn:
        return QStringLiteral("dorn");
    case VantleAgent::lirra:
        return QStringLiteral("lirra");
    case VantleAgent::morvo:
        return QStringLiteral("morvo");
    case VantleAgent::pelka:
        return QStringLiteral("pelka");
    }
    return {};
}

inline std::optional<VantleAgent> fromRawValue(const QString& raw) {
    for (auto agent : all) {
        if (rawValue(agent) == raw) {
            return agent;
        }
    }
    return std::nullopt;
}

// "Dorn", "Lirra", ...: the raw value with its first letter in upper case.
inline QString displayName(VantleAgent agent) {
    auto name = rawValue(agent);
    name[0] = name[0].toUpper();
    return name;
}

} // namespace VantleAgents
