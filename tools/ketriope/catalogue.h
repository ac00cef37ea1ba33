/// \file catalogue.h
/// The messages that are in reach of this program, found by `ENV` and `FOUNDRY` as every tool finds them.
#pragma once
#include <string>
#include <vector>

#include "utmsgdbmanager.h"
#include "utmsgrecords.h"

namespace ketriope::tool {

/// One file of the catalogue.
struct catalogue_file {
    std::string name;
    std::string fid;
    std::string description;
    std::vector<std::string> mids;  ///< of its messages, in their order there; none twice
};

/// A message database of its own, which nothing is posted to: what this program reports goes to the one
/// of the process. What a database throws comes as a value here.
/// Lifetime: what it gives stands as long as it does.
class catalogue : private msgDbManager {
public:
    /// Loads the index. Errors: `is_open` is false.
    catalogue();

    bool is_open() const { return open_; }
    /// Tells by `report` why it is not open.
    void tell_missing(void (*report)(const std::string& text)) const;

    /// All files, by number. Errors: one that cannot be read is left out and reported.
    std::vector<catalogue_file> files(bool& failed);
    /// A message with a text; null if there is none of that number.
    const msgCache* find(const std::string& mid);
    /// The file of a message that was found.
    catalogue_file file_of(const std::string& mid);
    /// The text of a post, in one line, as it was shown but for its label; its arguments where the
    /// message is not known.
    std::string text_of(const std::string& mid, std::vector<std::string> arguments);
    /// What the help data file of the installation adds, as far as it does: a page here, one on the web, a
    /// data sheet.
    std::vector<const char*> help_data_of(const std::string& mid);

private:
    msgFileCache* load(const std::string& key);
    void note_trouble();

    bool open_ = false;
    std::string why_;
};

/// The number of the file in a message's number.
std::string fid_of(const std::string& mid);

/// The type of a message as its file has it, with its level if it is a warning: "Warning, level 2".
std::string type_and_level(const msgCache& message);
/// The type alone. What the file has is shown as "?" if it is none.
std::string type_of(const msgCache& message);

}  // namespace ketriope::tool
