#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace Tovra::System::Desktop {

/// The process-wide catalogue of what a tool can answer: parameters (its operations) and, for each, named codes. A code
/// and a name mean something only together with their parameter.
///
/// Names are views whose text must outlive the catalogue. Indices are positions in the order of addition, -1 for none.
/// For one thread.
class ReturnCodes {
public:
    /// One operation of the tool.
    struct Parameter {
        std::uint32_t m_id;
        std::string_view m_name;
    };

    /// One answer that an operation can give.
    struct ReturnCode {
        std::uint32_t m_parameterId;
        std::int32_t m_code;
        std::string_view m_name;
    };

    /// What a result may tell beyond its code.
    using DataValue = std::variant<bool, int, std::string>;

    /// Values by name. The name is a string literal, which is hashed and compared as a pointer, not by its text.
    using DataMap = std::unordered_map<const char*, DataValue>;

    /// Adds the values that go out with a result; false if there are none to tell.
    using DataCallback = std::function<bool(unsigned int parameter, int code, DataMap& data)>;

    /// Made on first use, destroyed when the process exits.
    static ReturnCodes& GetInstance();

    ReturnCodes(const ReturnCodes&) = delete;
    ReturnCodes& operator=(const ReturnCodes&) = delete;

    /// False if the id exists already.
    bool AddParameter(unsigned int id, std::string_view name);

    /// Whether the id was added.
    bool HasParameter(unsigned int id) const;

    /// Its place among the parameters, or -1.
    int GetParameterIndex(unsigned int id) const;

    /// False if the parameter is unknown or has that code already.
    bool AddReturnCode(unsigned int parameter, int code, std::string_view name);

    /// Adds each pair, its number taken as the code bit for bit, so that negative codes can be written. False if the
    /// parameter is unknown. Codes that exist already are added all the same; look-ups find the first.
    bool AddReturnCodes(unsigned int parameter, std::initializer_list<std::pair<unsigned int, std::string_view>> codes);

    /// Whether the parameter has that code.
    bool HasReturnCode(unsigned int parameter, int code) const;

    /// The code of that name under that parameter; false, with `code` untouched, if there is none.
    bool GetReturnCode(unsigned int parameter, std::string_view name, int& code) const;

    /// The place of the first such record among the codes of all parameters, or -1.
    int GetReturnCodeIndex(unsigned int parameter, std::string_view name) const;
    int GetReturnCodeIndex(unsigned int parameter, int code) const;

    /// The name of that code under that parameter; false, with `name` untouched, if there is none.
    bool GetReturnCodeName(unsigned int parameter, int code, std::string_view& name) const;

    /// Gives `json` the document of one result: its "name", its "code" and, if the callback has any, its "data". No
    /// line end behind it. False, with `json` untouched, if the parameter has no such code.
    bool GenerateReturnJson(unsigned int parameter, int code, std::string& json) const;

    /// Gives `json` the document of all possible results. No line end behind it. A mask other than 0 takes only the
    /// parameters whose ids have no bit outside it. Always true.
    bool GenerateReturnOptionsJson(unsigned int mask, std::string& json) const;

    /// Sets what is asked for the data of a result. There is one place for it: what was set before is destroyed.
    void AddDataCallback(DataCallback callback);

    /// Forgets all parameters and codes. The callback stays.
    void Clear();

private:
    ReturnCodes() = default;

    std::vector<Parameter> m_parameters;
    std::vector<ReturnCode> m_returnCodes;
    DataCallback m_dataCallback;
};

} // namespace Tovra::System::Desktop
