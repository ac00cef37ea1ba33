/// \file msgelement.h
/// The messages within the element of a message file.
#pragma once
#include <string_view>

#include <tinyxml.h>

namespace ketriope {

/// The first `msg` of a file; its further ones are the siblings of that name. Null for a file without any.
inline TiXmlElement* first_message(TiXmlElement* file)
{
    TiXmlElement* const messages = file != nullptr ? file->FirstChildElement("messages") : nullptr;
    return messages != nullptr ? messages->FirstChildElement("msg") : nullptr;
}

/// The first `msg` of that UID; null if there is none.
inline TiXmlElement* find_message(TiXmlElement* file, std::string_view uid)
{
    for (TiXmlElement* each = first_message(file); each != nullptr; each = each->NextSiblingElement("msg")) {
        const char* const text = each->Attribute("uid");
        if (text != nullptr && uid == text) return each;
    }
    return nullptr;
}

}  // namespace ketriope
