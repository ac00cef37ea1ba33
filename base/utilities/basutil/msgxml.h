/// \file msgxml.h
/// The reading of XML files that a person may have written, or damaged.
#pragma once
#include <memory>
#include <string>

#include <tinyxml.h>

namespace ketriope {

/// Reads `path`; null if there is no such file, or it holds no document. A directory is no file.
///
/// A file with a broken UTF-8 character is read byte by byte, whatever it declares, and texts keep their
/// bytes. Nothing is read behind a NUL.
/// Errors: elements nested more than 500 deep are refused, since the parser follows them by calling
/// itself; so is a declaration with a `>` within a value.
/// Cost: little more than the parser's own reading of the file.
std::unique_ptr<TiXmlDocument> load_xml(const std::string& path);

}  // namespace ketriope
