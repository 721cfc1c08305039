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

/// The process-wide catalogue of a tool's results: parameters (the tool's operations) and, for each, named return
/// codes. A code or a name has a meaning only together with its parameter.
///
/// Names are views whose text must outlive the catalogue. Indices are positions in the order of addition, -1 for none.
/// Not locked: for one thread.
class ReturnCodes {
public:
    /// One operation of the tool.
    struct Parameter {
        std::uint32_t m_id;
        std::string_view m_name;
    };

    /// One result of an operation.
    struct ReturnCode {
        std::uint32_t m_parameterId;
        std::int32_t m_code;
        std::string_view m_name;
    };

    /// A value that a result contains besides its code.
    using DataValue = std::variant<bool, int, std::string>;

    /// Values by name. Names are string literals and are hashed and compared as pointers, not by their text.
    using DataMap = std::unordered_map<const char*, DataValue>;

    /// Adds the values of a result to `data`; false if it has none.
    using DataCallback = std::function<bool(unsigned int parameter, int code, DataMap& data)>;

    /// The catalogue; made at the first call, destroyed when the process exits.
    static ReturnCodes& GetInstance();

    ReturnCodes(const ReturnCodes&) = delete;
    ReturnCodes& operator=(const ReturnCodes&) = delete;

    /// Appends a parameter. False, with nothing added, if the id exists already.
    bool AddParameter(unsigned int id, std::string_view name);

    /// Whether there is a parameter with that id.
    bool HasParameter(unsigned int id) const;

    /// The index of a parameter, or -1.
    int GetParameterIndex(unsigned int id) const;

    /// Appends a return code. False, with nothing added, if the parameter is unknown or has that code already.
    bool AddReturnCode(unsigned int parameter, int code, std::string_view name);

    /// Appends a return code for each pair of code and name. The bits of the number are the code, so that negative
    /// codes can be written. False, with nothing added, if the parameter is unknown.
    /// Intentional: codes that exist already are added all the same; look-ups find the first.
    bool AddReturnCodes(unsigned int parameter, std::initializer_list<std::pair<unsigned int, std::string_view>> codes);

    /// Whether the parameter has that code.
    bool HasReturnCode(unsigned int parameter, int code) const;

    /// Gives the first code of that name. False, with `code` unchanged, if the parameter has none.
    bool GetReturnCode(unsigned int parameter, std::string_view name, int& code) const;

    /// The index of the first such record among the codes of all parameters, or -1.
    int GetReturnCodeIndex(unsigned int parameter, std::string_view name) const;
    int GetReturnCodeIndex(unsigned int parameter, int code) const;

    /// Gives the name of that code, a view of the text that was added. False, with `name` unchanged, if the parameter
    /// has no such code.
    bool GetReturnCodeName(unsigned int parameter, int code, std::string_view& name) const;

    /// Replaces `json` by the document of one result: its "name", its "code" and, if the data callback returns true,
    /// its "data". No line end follows. False, with `json` unchanged, if the parameter has no such code.
    bool GenerateReturnJson(unsigned int parameter, int code, std::string& json) const;

    /// Replaces `json` by the document of all possible results. No line end follows. A mask other than 0 takes only the
    /// parameters whose ids have no bit outside it. Always true.
    bool GenerateReturnOptionsJson(unsigned int mask, std::string& json) const;

    /// Sets the callback for the data of a result.
    /// Intentional: there is one callback, in spite of the name; an earlier one is destroyed.
    void AddDataCallback(DataCallback callback);

    /// Removes all parameters and codes. The data callback stays.
    void Clear();

private:
    ReturnCodes() = default;

    std::vector<Parameter> m_parameters;
    std::vector<ReturnCode> m_returnCodes;
    DataCallback m_dataCallback;
};

} // namespace Tovra::System::Desktop
