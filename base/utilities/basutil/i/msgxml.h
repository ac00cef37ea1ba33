/// \file i/msgxml.h
/// The reading of XML files that a person may have written, or damaged.
#pragma once
#include <memory>
#include <string>

#include <tinyxml.h>

#include "uttypes.h"

namespace ketriope {

/// Why a file holds no document.
struct xml_fault {
    int line = 0;  ///< from 1; 0 where no line is to blame
    std::string what;
};

/// Reads `path`; null if there is no such file, or it holds no document. A directory is no file.
///
/// A file with a broken UTF-8 character is read byte by byte, whatever it declares, and texts keep their
/// bytes. Nothing is read behind a NUL. The rows that the elements tell are lines of the file.
/// Errors: elements nested more than 500 deep are refused, since the parser follows them by calling
/// itself; so is a declaration with a `>` within a value. `fault`, unless it is null, is told why.
/// Cost: little more than the parser's own reading of the file.
UT_EXPORT std::unique_ptr<TiXmlDocument> load_xml(const std::string& path, xml_fault* fault = nullptr);

}  // namespace ketriope
