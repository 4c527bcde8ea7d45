// Entities in the texts of XML documents.

#include "QBase/AsciiSerializer.h"
#include "QBase/Property.h"
#include "Support/SavedGraphs.h"

#include <gtest/gtest.h>

#include <string>

using namespace QBase;

namespace
{

// What a text of a document is read as.
std::string Unescaped(const std::string& text)
{
    const Value root = LoadedAs<AsciiSerializer>(
        "<?xml version=\"1.0\"?>\n<QuirlData id=\"1784827729\" version=\"3\">\n<Object Module=\"QBase\" "
        "Class=\"Object\" Path=\"root\"><Property Name=\"Text\" Type=\"String\" Dynamic=\"true\">" +
        text + "</Property></Object></QuirlData>\n");
    if (root.AsObject() == nullptr || root.AsObject()->FindProperty("Text") == nullptr) {
        return "nothing";
    }
    return root.AsObject()->FindProperty("Text")->Get(root.AsObject()).AsString().c_str();
}

} // namespace

TEST(XmlTextTest, TheFiveNamesStandForTheirCharacters)
{
    EXPECT_EQ(Unescaped("&amp;&lt;&gt;&quot;&apos;"), "&<>\"'");
}

TEST(XmlTextTest, NumbersStandForCodePointsOfAnyLength)
{
    EXPECT_EQ(Unescaped("[&#65;&#x42;]"), "[AB]");
    EXPECT_EQ(Unescaped("&#xFC;&#252;"), "\xC3\xBC\xC3\xBC");
    EXPECT_EQ(Unescaped("&#x7FF;&#x800;"), "\xDF\xBF\xE0\xA0\x80");
    EXPECT_EQ(Unescaped("&#8364;&#xFFFD;"), "\xE2\x82\xAC\xEF\xBF\xBD");
    EXPECT_EQ(Unescaped("&#xD7FF;&#xE000;"), "\xED\x9F\xBF\xEE\x80\x80");
    EXPECT_EQ(Unescaped("&#x10000;&#x10FFFF;"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(XmlTextTest, WhatIsNoEntityStaysAsItIs)
{
    for (const char* pText :
         {"&",        "&;",       "&nbsp;",     "&amp",           "&AMP;",         "&#;",   "&#x;",
          "&#",       "&#x",      "&#65",       "&#6 5;",         "&#-65;",        "&#0;",  "&#x0;",
          "&#xD800;", "&#xDFFF;", "&#x110000;", "&#99999999999;", "&#xFFFFFFFFF;", "&#X41;"}) {
        EXPECT_EQ(Unescaped(pText), pText);
    }
}
