/// \file msgxml.h
/// The reading of XML files that a person may have written, or damaged.
#pragma once
#include <memory>
#include <string>

#include <tinyxml.h>

namespace ketriope {

/// Reads `path`; null if there is no such file, or it holds no document.
///
/// Errors: elements nested more than 500 deep are refused, too, since the parser follows them by
/// calling itself. A directory counts as no file.
std::unique_ptr<TiXmlDocument> load_xml(const std::string& path);

}  // namespace ketriope
