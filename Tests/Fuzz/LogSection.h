#pragma once

#include <Fuzz/Json.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Tovra::Tests::Fuzz {

/// A model of the log's section of the configuration: the streams of each severity, from "Debug" to "Always".
class LogSection {
public:
    static constexpr std::uint32_t allStreams = 0x1FFFFF;

    static constexpr std::array<std::string_view, 7> severities{"Debug", "Verbose",  "Info",  "Warning",
                                                                "Error", "Critical", "Always"};

    /// The streams, from the lowest bit on.
    static constexpr std::array<std::string_view, 21> streams{"Default",
                                                              "System",
                                                              "Graphics",
                                                              "Network",
                                                              "CoreService",
                                                              "FieldhostController",
                                                              "FieldhostService",
                                                              "FieldhostCompanionTool",
                                                              "FieldhostExecutionTool",
                                                              "FieldmateController",
                                                              "FieldhostSnippingTool",
                                                              "FieldhostSetupTool",
                                                              "QRVControllerAPI",
                                                              "AutomationSystem",
                                                              "AutomationTargetSystem",
                                                              "ChangeDetectionSystem",
                                                              "ChangeReporterSystem",
                                                              "ExecutionPipeline",
                                                              "OverlaySystem",
                                                              "DisplayCache",
                                                              "ThreadingSystem"};

    using Masks = std::array<std::uint32_t, severities.size()>;

    /// What a section is read to. False if it can't be used.
    bool Load(const Json& section) {
        const Json* const list = section.Find("streams");
        if (list == nullptr || list->kind != Json::Kind::Array) {
            return false;
        }
        for (const Json& element : list->elements) {
            const Json* const severity = element.Find("severity");
            const std::optional<std::uint32_t> mask = FindMask(element);
            if (severity != nullptr && mask) {
                Move(*mask, FindSeverity(*severity));
            }
        }
        return true;
    }

    const Masks& GetMasks() const { return m_masks; }

    /// How many elements were used.
    std::size_t GetCount() const { return m_count; }

    /// Whether an entry gained streams that it didn't have and that were taken out of it.
    bool HasToggled() const { return m_hasToggled; }

private:
    static std::optional<std::uint32_t> FindMask(const Json& element) {
        const Json* const id = element.Find("id");
        if (id != nullptr && id->kind == Json::Kind::Integer && !id->isNegative && id->integer <= 0xFFFFFFFF) {
            const auto mask = static_cast<std::uint32_t>(id->integer);
            return (mask & allStreams) == 0 ? std::nullopt : std::optional(mask);
        }
        const Json* const name = element.Find("name");
        if (name != nullptr && name->IsText("All")) {
            return allStreams;
        }
        for (std::size_t index = 0; name != nullptr && index < streams.size(); ++index) {
            if (name->IsText(streams[index])) {
                return std::uint32_t{1} << index;
            }
        }
        return std::nullopt;
    }

    static std::size_t FindSeverity(const Json& severity) {
        for (std::size_t index = 0; index < severities.size(); ++index) {
            if (severity.IsText(severities[index])) {
                return index;
            }
        }
        return 3;
    }

    void Move(std::uint32_t mask, std::size_t severity) {
        ++m_count;
        for (std::size_t index = 0; index < m_masks.size(); ++index) {
            if (index != severity && (m_masks[index] & mask) != 0) {
                m_hasToggled |= (mask & ~m_masks[index]) != 0;
                m_masks[index] ^= mask;
            }
        }
        m_masks[severity] |= mask;
    }

    Masks m_masks{0, 0, allStreams, 0, 0, 0, 0};
    std::size_t m_count = 0;
    bool m_hasToggled = false;
};

} // namespace Tovra::Tests::Fuzz
