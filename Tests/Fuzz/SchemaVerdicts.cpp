#include <System/Serialization/JsonSchemaWrapper.h>

#include <rapidjson/document.h>

#include <iostream>
#include <string>

namespace {

using Tovra::System::Serialization::JsonSchemaWrapper;
using Tovra::System::Serialization::JsonWrapper;

/// "none" for an unusable schema, otherwise the verdict on the document.
std::string GetVerdict(rapidjson::Value& schema, rapidjson::Value& document) {
    const JsonWrapper schemaJson;
    schemaJson.GetDocument()->CopyFrom(schema, schemaJson.GetDocument()->GetAllocator());
    JsonSchemaWrapper wrapper;
    if (!wrapper.Compile(schemaJson)) {
        return "none";
    }
    const JsonWrapper documentJson;
    documentJson.GetDocument()->CopyFrom(document, documentJson.GetDocument()->GetAllocator());
    std::string error = "valid";
    wrapper.Validate(documentJson, error);
    return error;
}

} // namespace

// Reads lines, each an array of a schema and a document, and writes a line with the verdict for each.
int main() {
    std::string line;
    while (std::getline(std::cin, line)) {
        rapidjson::Document pair;
        pair.Parse<rapidjson::kParseIterativeFlag>(line.c_str());
        if (!pair.IsArray() || pair.Size() != 2) {
            std::cerr << "Not a pair: " << line << '\n';
            return 1;
        }
        std::cout << GetVerdict(pair[0], pair[1]) << std::endl;
    }
    return 0;
}
