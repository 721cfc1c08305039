// Prints the driver's version and ends with 0, or says why there is none and ends with 1: check [tool].

import Foundation

struct Document: Decodable {
    struct Data: Decodable {
        /// Nil where the document has false.
        let version: String?

        private enum CodingKeys: String, CodingKey {
            case version
        }

        init(from decoder: Decoder) throws {
            let container = try decoder.container(keyedBy: CodingKeys.self)
            version = try? container.decode(String.self, forKey: .version)
        }
    }

    let name: String
    /// Nil for results that have none, such as "Wrong Parameter(s)".
    let data: Data?
}

func fail(_ reason: String) -> Never {
    FileHandle.standardError.write(Foundation.Data((reason + "\n").utf8))
    exit(1)
}

let tool = Process()
tool.executableURL = URL(fileURLWithPath: CommandLine.arguments.dropFirst().first
    ?? "/usr/local/bin/TovraFieldhostSetupTool")
tool.arguments = ["-CheckOpenGL"]
let output = Pipe()
tool.standardOutput = output
do {
    try tool.run()
} catch {
    fail("The tool can't be started: \(error.localizedDescription)")
}
let bytes = output.fileHandleForReading.readDataToEndOfFile()
tool.waitUntilExit()

if bytes.isEmpty {
    // The status of a tool that was killed is the number of the signal: 9 is either.
    let cause = tool.terminationReason == .uncaughtSignal ? "signal" : "status"
    fail("The tool was ended before it had a result: \(cause) \(tool.terminationStatus).")
}
guard let document = try? JSONDecoder().decode(Document.self, from: bytes) else {
    fail("The tool's document can't be read.")
}
switch document.name {
case "Success": print(document.data?.version ?? "")
case "Failed": fail("No window can be made.")
case "Platform Unsupported": fail("There is no OpenGL 3.2.")
default: fail("The result is unexpected: \(document.name).")
}
