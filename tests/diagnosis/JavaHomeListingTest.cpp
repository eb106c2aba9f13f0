#include "diagnosis/JDKInfo.h"

#include <gtest/gtest.h>

TEST(JavaHomeListing, ParsesTheLayoutsAMacPrints)
{
    const JDKInfo temurin21 {"21.0.2", "Eclipse Adoptium", "arm64", "/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"};
    const JDKInfo zulu17 {"17.0.10", "Azul Systems, Inc.", "x86_64", "/Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home"};
    const JDKInfo oracle8 {"1.8.0_321", "Oracle Corporation", "x86_64", "/Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Home"};
    const struct {
        const char *name;
        QString listing;
        QList<JDKInfo> expected;
    } cases[] = {
        {"several JDKs in listed order, both architectures, vendors with commas, paths with spaces",
         "Matching Java Virtual Machines (3):\n"
         "    21.0.2 (arm64) \"Eclipse Adoptium\" - \"OpenJDK 21.0.2\" /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"
         "    17.0.10 (x86_64) \"Azul Systems, Inc.\" - \"Zulu 17.48.15\" /Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home\n"
         "    1.8.0_321 (x86_64) \"Oracle Corporation\" - \"Java SE 8\" /Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Home\n"
         "/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n",
         {temurin21, zulu17, oracle8}},
        {"tabs, trailing blanks and CRLF",
         "Matching Java Virtual Machines (1):\r\n"
         "\t17.0.10 (x86_64) \"Azul Systems, Inc.\" - \"Zulu 17.48.15\"  /Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home  \r\n",
         {zulu17}},
        {"lines that look almost right are skipped",
         "\n"
         "21.0.2 (arm64) \"Eclipse Adoptium\" - \"OpenJDK 21.0.2\" /Library/no-indent/Contents/Home\n"
         "    11.0.2 (x86_64) \"Vendor\" - \"Name\" relative/path/Home\n"
         "    11.0.2 \"Vendor\" - \"Name\" /Library/no-architecture/Home\n"
         "    11.0.2 (x86_64) Vendor - \"Name\" /Library/unquoted-vendor/Home\n"
         "    21.0.2 (arm64) \"Eclipse Adoptium\" - \"OpenJDK 21.0.2\" /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n",
         {temurin21}},
        {"quotes inside the vendor or the name, a character that was not UTF-8",
         "    21.0.2 (arm64) \"Eclipse \"Adoptium\"\" - \"OpenJDK 21.0.2\" /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"
         "    17.0.10 (x86_64) \"Azul Systems, Inc.\" - \"Zulu \"17\" /x\" - \"\"  /Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home\n"
         "    1.8.0_321 (x86_64) \"Caf\uFFFD\" - \"Java SE 8\" /Library/Internet Plug-Ins/JavaAppletPlugin.plugin/Contents/Home\n",
         {{"21.0.2", "Eclipse \"Adoptium\"", "arm64", temurin21.path}, zulu17,
          {"1.8.0_321", "Caf\uFFFD", "x86_64", oracle8.path}}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(parseJavaHomeListing(c.listing), c.expected) << c.name;
}
