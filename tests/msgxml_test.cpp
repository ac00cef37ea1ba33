// tests/msgxml_test.cpp
#include "msgxml.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "temp_directory.h"

namespace {

using ketriope::load_xml;

std::string repeated(std::string_view text, std::size_t times)
{
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
}

/// Loads `bytes` as a file.
std::unique_ptr<TiXmlDocument> loaded(std::string_view bytes)
{
    const temp_directory directory;
    const std::string path = directory / "file.xml";
    write_file(path, bytes);
    return load_xml(path);
}

/// The attribute `a` of the first element of `bytes`; "none" where there is no document or no attribute.
std::string attribute_of(std::string_view bytes)
{
    const auto document = loaded(bytes);
    const TiXmlElement* const root = document ? document->RootElement() : nullptr;
    const char* const text = root != nullptr ? root->Attribute("a") : nullptr;
    return text != nullptr ? text : "none";
}

int depth_of(const TiXmlNode* node)
{
    int depth = 0;
    for (node = node->FirstChildElement(); node != nullptr; node = node->FirstChildElement()) ++depth;
    return depth;
}

}  // namespace

TEST(MsgXml, ReadsADocumentWithOrWithoutItsDeclaration)
{
    EXPECT_EQ(attribute_of("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root a='1'/>\n"), "1");
    EXPECT_EQ(attribute_of("<root a='2'/>"), "2");
    EXPECT_EQ(attribute_of("<!-- a > b -- c --><root a='3'><![CDATA[<root a='4'>]]></root>"), "3");
}

TEST(MsgXml, TheDocumentIsNamedAfterItsFile)
{
    const temp_directory directory;
    const std::string path = directory / "named.xml";
    write_file(path, "<root/>");
    EXPECT_EQ(load_xml(path)->ValueStr(), path);
}

TEST(MsgXml, WhatIsNoFileLoadsNothing)
{
    const temp_directory directory;
    EXPECT_EQ(load_xml(directory / "missing.xml"), nullptr);
    EXPECT_EQ(load_xml(directory.path()), nullptr);
    EXPECT_EQ(load_xml(""), nullptr);
}

TEST(MsgXml, WhatIsNoDocumentLoadsNothing)
{
    for (const std::string_view bytes :
         {"", " \n\t", "only words", "words <root/>", "<root", "<root>", "<root><child></root>",
          "<root a='1' a></root>", "<root a=1'></root>", "<root a='1></root>", "<root><child/>",
          "<root></rot>", "<?xml version=\"1.0\"", "\xff\xfe<\0r\0o\0o\0t\0/\0>\0"})
        EXPECT_EQ(loaded(bytes), nullptr) << bytes;
}

TEST(MsgXml, MarkupWithoutAnElementIsADocumentWithoutARoot)
{
    for (const std::string_view bytes :
         {"<", "<>", "</root>", "<!-- open", "<!-- closed -->", "<?xml version='1.0'?>"}) {
        const auto document = loaded(bytes);
        ASSERT_NE(document, nullptr) << bytes;
        EXPECT_EQ(document->RootElement(), nullptr) << bytes;
    }
}

TEST(MsgXml, NoTruncatedFileHasARoot)
{
    const std::string whole =
        "<messageFile name='x' fid=\"1\"><messages><msg uid='0001'/></messages></messageFile>";
    ASSERT_NE(loaded(whole), nullptr);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_TRUE(!loaded(whole.substr(0, length)) || length == 1) << length;
}

TEST(MsgXml, AttributesKeepTheirBlanksAndLinesEndInALineFeed)
{
    EXPECT_EQ(attribute_of("<root a='  two  blanks\t'/>"), "  two  blanks\t");
    EXPECT_EQ(attribute_of("<root a='1\r\n2\r3\n\r\r\n4'/>\r"), "1\n2\n3\n\n\n4");
    EXPECT_EQ(attribute_of("<root a='&lt;&amp;&quot;&#x41;'/>"), "<&\"A");
}

TEST(MsgXml, NothingIsReadBehindANul)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(attribute_of("<root a='1'/>\0<<<"sv), "1");
    EXPECT_EQ(loaded("<root a='\0'/>"sv), nullptr);
}

TEST(MsgXml, WhatStandsBehindTheDocumentDoesNoHarm)
{
    for (const std::string_view rest : {"words", "\xf0", "\xef", "\xe2\x82", "<", "<!open"})
        EXPECT_EQ(attribute_of(std::string("<root a='1'/>").append(rest)), "1") << rest;
}

// ---- characters

TEST(MsgXml, TextsKeepTheirBytesInEveryEncoding)
{
    for (const std::string_view text :
         {"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xe9", "caf\xe9 \xfc"}) {
        const std::string element = "<root a='" + std::string(text) + "'/>";
        EXPECT_EQ(attribute_of(element), text);
        EXPECT_EQ(attribute_of("<?xml version='1.0' encoding='UTF-8'?>" + element), text);
        EXPECT_EQ(attribute_of("<?xml version='1.0' encoding='ISO-8859-1'?>" + element), text);
    }
}

TEST(MsgXml, AMarkOfByteOrderIsPassedOver)
{
    EXPECT_EQ(attribute_of("\xef\xbb\xbf<root a='\xc3\xa9'/>"), "\xc3\xa9");
}

TEST(MsgXml, ABrokenCharacterDoesNotSwallowTheMarkupBehindIt)
{
    // Trusted, each first byte would take the quote, the slash and the bracket for parts of its character.
    const std::string declared = "<?xml version='1.0' encoding='UTF-8'?>";
    for (const std::string_view broken : {"\xc3", "\xe2", "\xe2\x82", "\xf0", "\xf0\x9f\x98"}) {
        EXPECT_EQ(attribute_of(declared + "<root a='" + std::string(broken) + "'/>"), broken);
        EXPECT_EQ(attribute_of(declared + "<root a='1'><b>" + std::string(broken) + "</b></root>"), "1");
    }
    for (const std::string_view broken : {"\xe2", "\xf0"})
        EXPECT_EQ(loaded(declared + "<root a='" + std::string(broken)), nullptr);
}

// ---- depth

TEST(MsgXml, ElementsMayNestFiveHundredDeep)
{
    const auto nested = [](std::size_t depth) { return repeated("<a>", depth) + repeated("</a>", depth); };
    const auto deepest = loaded(nested(500));
    ASSERT_NE(deepest, nullptr);
    EXPECT_EQ(depth_of(deepest.get()), 500);
    EXPECT_EQ(loaded(nested(501)), nullptr);
    EXPECT_NE(loaded("<r>" + repeated(nested(499), 3) + "</r>"), nullptr);
    EXPECT_NE(loaded("<r>" + repeated("<a/><a b='/'></a>", 5'000) + "</r>"), nullptr);
}

TEST(MsgXml, ABombOfNestedElementsIsRefused)
{
    constexpr std::size_t k_many = 300'000;  // enough to run out of any stack
    EXPECT_EQ(loaded(repeated("<a>", k_many) + repeated("</a>", k_many)), nullptr);
    EXPECT_EQ(loaded(repeated("<a>", k_many)), nullptr);
    EXPECT_EQ(loaded(repeated("<a b='>' c=\"'/>\">", k_many)), nullptr);
    EXPECT_EQ(loaded(repeated("<\xe9>", k_many)), nullptr);
    EXPECT_EQ(loaded(repeated("<_>", k_many)), nullptr);
}

TEST(MsgXml, ABombIsNotHiddenByWhatTheParserReadsOtherwise)
{
    const std::string bomb = repeated("<a>", 300'000);
    for (const std::string_view before :
         {"<!D '>", "<!D \">", "<? '>", "<1 '>", "</x '>", "< a '>", "<!>", "<!-->-->", "<![CDATA[>]]>",
          "<!-- ' -->", "<b c=\"'\"/>", "<?xml version='>'?>", "<?xml foo=\"a version=\"?><!-- \"?>",
          "<?xml version='1.0'?>", "<?XML a' version='?>'?>"})
        EXPECT_EQ(loaded(std::string(before) + bomb), nullptr) << before;
    EXPECT_EQ(loaded(repeated("<a b='</a></a>'>", 300'000)), nullptr);
    EXPECT_EQ(loaded(repeated("<a><!-- </a> -->", 300'000)), nullptr);
    EXPECT_EQ(loaded(repeated("<a><![CDATA[</a>]]>", 300'000)), nullptr);
    const std::string declared = "<?xml version='1.0' encoding='UTF-8'?>";
    EXPECT_EQ(loaded(declared + "<root>" + repeated("<a b='\xe2'/>'>", 300'000)), nullptr);
    EXPECT_NE(loaded(declared + "<root>" + repeated("<a b='\xe2'/>'>", 3'000) + "</root>"), nullptr);
}

TEST(MsgXml, WhatLooksDeepAndIsNotIsRead)
{
    const std::string many = repeated("<a>", 1'000);
    EXPECT_EQ(attribute_of("<root a='1'><!-- " + many + " --></root>"), "1");
    EXPECT_EQ(attribute_of("<root a='1'><![CDATA[" + many + "]]></root>"), "1");
    EXPECT_EQ(attribute_of("<root a='" + many + "'/>"), many);
    EXPECT_EQ(attribute_of("<root a='1'>" + repeated("<!a><?b><1>", 1'000) + "</root>"), "1");
}

TEST(MsgXml, ADeclarationWithABracketInAValueIsRefused)
{
    EXPECT_EQ(loaded("<?xml version=\"1>0\"?><root/>"), nullptr);
    EXPECT_EQ(loaded("<?xml version = '>'?><root/>"), nullptr);
    EXPECT_EQ(loaded("<root/><?xml "), nullptr);
    EXPECT_NE(loaded("<?xml version=\"1.0\" encoding=\"\" standalone='' ?><root/>"), nullptr);
}

// ---- size

TEST(MsgXml, AnAttributeOfAHundredMegabytesIsRead)
{
    constexpr std::size_t k_size = 100'000'000;
    const auto document = loaded("<root a='" + std::string(k_size, 'x') + "'/>");
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(document->RootElement()->Attribute(std::string("a"))->size(), k_size);
}

namespace {

/// "line: what" of the fault of `bytes`.
std::string fault_of(std::string_view bytes)
{
    const temp_directory directory;
    const std::string path = directory / "file.xml";
    write_file(path, bytes);
    ketriope::xml_fault fault;
    EXPECT_EQ(load_xml(path, &fault), nullptr);
    return std::to_string(fault.line) + ": " + fault.what;
}

}  // namespace

TEST(MsgXml, TellsWhichLineIsToBlameAndWhy)
{
    EXPECT_EQ(fault_of("<root>\n\n<msg a='1' a></msg></root>"), "3: Error reading Attributes.");
    EXPECT_EQ(fault_of("<root>\r\n\r\n<msg a='1' a></msg></root>"), "3: Error reading Attributes.");
    EXPECT_EQ(fault_of("\n" + repeated("<a>\n", 600)), "502: Error: the elements are nested too deep.");
    EXPECT_EQ(fault_of("<a/>\n<?xml version='>' ?>"), "2: Error: the end of the declaration is not plain.");
}

TEST(MsgXml, TellsThatAFileCannotBeRead)
{
    const temp_directory directory;
    for (const std::string& path : {directory / "missing.xml", directory.path()}) {
        ketriope::xml_fault fault;
        EXPECT_EQ(load_xml(path, &fault), nullptr);
        EXPECT_EQ(fault.line, 0);
        EXPECT_EQ(fault.what, "Error: the file cannot be read.");
    }
}

TEST(MsgXml, AFileThatLoadsLeavesTheFaultAlone)
{
    const temp_directory directory;
    const std::string path = directory / "file.xml";
    write_file(path, "<root/>");
    ketriope::xml_fault fault{7, "untouched"};
    EXPECT_NE(load_xml(path, &fault), nullptr);
    EXPECT_EQ(fault.line, 7);
    EXPECT_EQ(fault.what, "untouched");
}
