// tests/process/message_road_child.cpp: a tool that posts one message and tells what each step did.
//
// Its arguments are a directory for all destinations, the name that the message tells of, and "leave" to
// leave the destinations as they are at the end.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "basutfile.h"
#include "basutstream.h"
#include "msgman.h"
#include "utmsgmanager.h"

namespace {

void tell(const char* what, const std::string& value)
{
    std::printf("%s: %s\n", what, value.c_str());
}

void tell_of_the_database(const char* when)
{
    tell(when, msgDbManager::findUniqueDbManager() != nullptr ? "a database" : "no database");
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string directory = std::string(argv[1]) + '/';
    const char* const name = argv[2];
    ut_msgman->setprogname("par");

    tell_of_the_database("at first");
    msgManager messages("framework");
    tell_of_the_database("behind the first manager");
    tell("category", messages.getFID());

    std::FILE* const file = std::fopen((directory + "file").c_str(), "w");
    std::ofstream stream(directory + "ostream");
    UT_STREAM* const ut_stream = ut_file.open((directory + "ut_stream").c_str(), UT_ACCESS_WRITE, 1);
    messages.addMsgLogFile(file);
    messages.addstream(stream);
    messages.addUTstream(ut_stream);
    messages.startMsgLogFile((directory + "errors.xml").c_str(), MSG_ERROR);
    messages.startMsgLogFile((directory + "warnings.xml").c_str(), MSG_WARNING);

    const int sid = messages.postMsg("1108", name);

    std::string text;
    std::vector<std::string> arguments;
    tell("serial number", std::to_string(sid));
    messages.retrieveMsgID(sid, text);
    tell("message", text);
    messages.retrieveMsgDynamicInfo(sid, arguments);
    for (const std::string& each : arguments) tell("argument", each);
    tell("posted",
         std::to_string(messages.getErrorPosted(1)) + " " + std::to_string(messages.getErrorPosted(0)));
    messages.retrieveMsgString(sid, text);
    tell("asked again", text);

    if (argc > 3) return 0;
    messages.delUTstream(ut_stream);
    ut_file.close(ut_stream);
    return 0;
}
