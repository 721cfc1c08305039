#include <System/Desktop/ReturnCodes.h>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>

namespace Tovra::System::Desktop {

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

template <class Record, class Predicate>
int FindIndex(const std::vector<Record>& records, const Predicate& predicate) {
    const auto found = std::ranges::find_if(records, predicate);
    return found == records.end() ? -1 : static_cast<int>(found - records.begin());
}

void WriteName(Writer& writer, std::string_view name) {
    writer.Key("name");
    const std::string text(name); // An empty view's pointer may be null, which the writer does not allow.
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteNameAndCode(Writer& writer, const ReturnCodes::ReturnCode& returnCode) {
    WriteName(writer, returnCode.m_name);
    writer.Key("code");
    writer.Int(returnCode.m_code);
}

void WriteParameter(Writer& writer, const ReturnCodes::Parameter& parameter,
                    const std::vector<ReturnCodes::ReturnCode>& returnCodes) {
    writer.StartObject();
    WriteName(writer, parameter.m_name);
    writer.Key("codes");
    writer.StartArray();
    for (const ReturnCodes::ReturnCode& returnCode : returnCodes) {
        if (returnCode.m_parameterId == parameter.m_id) {
            writer.StartObject();
            WriteNameAndCode(writer, returnCode);
            writer.EndObject();
        }
    }
    writer.EndArray();
    writer.EndObject();
}

/// Writes a value as the JSON type of its alternative. A text ends at its first NUL byte.
struct ValueWriter {
    void operator()(bool value) const { writer.Bool(value); }
    void operator()(int value) const { writer.Int(value); }
    void operator()(const std::string& value) const { writer.String(value.c_str()); }

    Writer& writer;
};

void WriteData(Writer& writer, const ReturnCodes::DataMap& data) {
    writer.StartObject();
    for (const auto& [name, value] : data) {
        writer.Key(name);
        std::visit(ValueWriter{writer}, value);
    }
    writer.EndObject();
}

} // namespace

ReturnCodes& ReturnCodes::GetInstance() {
    static ReturnCodes s_instance;
    return s_instance;
}

bool ReturnCodes::AddParameter(unsigned int id, std::string_view name) {
    if (HasParameter(id)) {
        return false;
    }
    m_parameters.push_back({id, name});
    return true;
}

bool ReturnCodes::HasParameter(unsigned int id) const {
    return GetParameterIndex(id) != -1;
}

int ReturnCodes::GetParameterIndex(unsigned int id) const {
    return FindIndex(m_parameters, [id](const Parameter& parameter) { return parameter.m_id == id; });
}

bool ReturnCodes::AddReturnCode(unsigned int parameter, int code, std::string_view name) {
    if (!HasParameter(parameter) || HasReturnCode(parameter, code)) {
        return false;
    }
    m_returnCodes.push_back({parameter, code, name});
    return true;
}

bool ReturnCodes::AddReturnCodes(unsigned int parameter,
                                 std::initializer_list<std::pair<unsigned int, std::string_view>> codes) {
    if (!HasParameter(parameter)) {
        return false;
    }
    // Intentional: unlike `AddReturnCode`, this adds duplicates; the catalogue's document shows every row of the tool's
    // list, and look-ups find the first.
    for (const auto& [code, name] : codes) {
        m_returnCodes.push_back({parameter, static_cast<std::int32_t>(code), name});
    }
    return true;
}

bool ReturnCodes::HasReturnCode(unsigned int parameter, int code) const {
    return GetReturnCodeIndex(parameter, code) != -1;
}

bool ReturnCodes::GetReturnCode(unsigned int parameter, std::string_view name, int& code) const {
    const int index = GetReturnCodeIndex(parameter, name);
    if (index == -1) {
        return false;
    }
    code = m_returnCodes[static_cast<std::size_t>(index)].m_code;
    return true;
}

int ReturnCodes::GetReturnCodeIndex(unsigned int parameter, std::string_view name) const {
    return FindIndex(m_returnCodes, [parameter, name](const ReturnCode& returnCode) {
        return returnCode.m_parameterId == parameter && returnCode.m_name == name;
    });
}

int ReturnCodes::GetReturnCodeIndex(unsigned int parameter, int code) const {
    return FindIndex(m_returnCodes, [parameter, code](const ReturnCode& returnCode) {
        return returnCode.m_parameterId == parameter && returnCode.m_code == code;
    });
}

bool ReturnCodes::GetReturnCodeName(unsigned int parameter, int code, std::string_view& name) const {
    const int index = GetReturnCodeIndex(parameter, code);
    if (index == -1) {
        return false;
    }
    name = m_returnCodes[static_cast<std::size_t>(index)].m_name;
    return true;
}

bool ReturnCodes::GenerateReturnJson(unsigned int parameter, int code, std::string& json) const {
    const int index = GetReturnCodeIndex(parameter, code);
    if (index == -1) {
        return false;
    }
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    WriteNameAndCode(writer, m_returnCodes[static_cast<std::size_t>(index)]);
    DataMap data;
    if (m_dataCallback && m_dataCallback(parameter, code, data)) {
        writer.Key("data");
        WriteData(writer, data);
    }
    writer.EndObject();
    json.assign(buffer.GetString(), buffer.GetSize());
    return true;
}

bool ReturnCodes::GenerateReturnOptionsJson(unsigned int mask, std::string& json) const {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("parameters");
    writer.StartArray();
    for (const Parameter& parameter : m_parameters) {
        // Intentional: a test of bits, even where ids are running numbers; a mask of 3 takes the ids 0 to 3.
        if (mask == 0 || (parameter.m_id & ~mask) == 0) {
            WriteParameter(writer, parameter, m_returnCodes);
        }
    }
    writer.EndArray();
    writer.EndObject();
    json.assign(buffer.GetString(), buffer.GetSize());
    return true;
}

void ReturnCodes::AddDataCallback(DataCallback callback) {
    m_dataCallback = std::move(callback);
}

void ReturnCodes::Clear() {
    m_parameters.clear();
    m_returnCodes.clear();
}

} // namespace Tovra::System::Desktop
