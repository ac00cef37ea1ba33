// tests/support/message_log.h: an XML log of messages, read back as a program of a support engineer would.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "temp_directory.h"

/// One line of a log.
struct logged {
    std::string mid;
    std::string type;
    std::vector<std::string> arguments;  ///< the dynamic ones, then the navigation strings
    bool operator==(const logged&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const logged& shown)
{
    out << '{' << shown.mid << ' ' << shown.type;
    for (const std::string& each : shown.arguments) out << " \"" << each << '"';
    return out << '}';
}

/// A log that was closed: complete, with its end lines.
class message_log {
public:
    explicit message_log(const std::string& path)
    {
        TiXmlDocument document;
        if (!document.LoadFile(path.c_str())) return;
        const TiXmlElement* const root = document.FirstChildElement("messageLogFile");
        const TiXmlElement* const posts = root != nullptr ? root->FirstChildElement("postMsgs") : nullptr;
        if (posts == nullptr) return;
        name = text(*root, "name");
        const TiXmlElement* each = posts->FirstChildElement("postMsg");
        for (; each != nullptr; each = each->NextSiblingElement("postMsg")) lines.push_back(read(*each));
        const std::string end = "  </postMsgs>\n</messageLogFile>\n";
        const std::string bytes = file_bytes(path);
        well_formed = bytes.size() > end.size() && bytes.find(end) == bytes.size() - end.size();
    }

    bool well_formed = false;
    std::string name;
    std::vector<logged> lines;

private:
    static std::string text(const TiXmlElement& element, const std::string& attribute)
    {
        const char* const value = element.Attribute(attribute.c_str());
        return value != nullptr ? value : "(missing)";
    }
    static logged read(const TiXmlElement& line)
    {
        logged result{text(line, "mid"), text(line, "type"), {}};
        const int count = std::stoi(text(line, "dynamic")) + std::stoi(text(line, "navigation"));
        for (int i = 0; i < count; ++i) result.arguments.push_back(text(line, "arg" + std::to_string(i)));
        return result;
    }
};
