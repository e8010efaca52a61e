#pragma once

#include "kelda/KFileIO.h"
#include "kelda/KLibrary.h"
#include "kelda/KMessage.h"
#include "kelda/testing/KFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

/// What an empty scene is as text.
inline std::string emptySceneText()
{
    return "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"centimeter\";\n//End of scene\n";
}

/// Starts the SDK once, gives each test an empty scene and a folder of its own, and gathers messages.
class FileTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
        ASSERT_EQ(KLibrary::initialize("test"), KStatus::kSuccess);
    }
    void SetUp() override
    {
        KMessage::setHandler(
            [](KMessage::Kind kind, const char* text, void* self) {
                FileTest* test = static_cast<FileTest*>(self);
                (kind == KMessage::kError     ? test->errors
                 : kind == KMessage::kWarning ? test->warnings
                                              : test->infos)
                    .push_back(text);
            },
            this);
        char name[] = "/tmp/kelda-io-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        folder = name;
        KFileIO::newFile(true);
    }
    void TearDown() override
    {
        KFaults::clear();
        KMessage::setHandler(nullptr);
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
        std::filesystem::remove_all(folder);
    }

    std::string in(const std::string& name) const { return (folder / name).string(); }

    static std::string read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        EXPECT_TRUE(file) << path;
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    static void write(const std::string& path, const std::string& bytes)
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        ASSERT_TRUE(file) << path;
    }
    std::vector<std::string> filesInFolder() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    /// Opens a scene that is given as text. The file is called scene.ka.
    KStatus openText(const std::string& text)
    {
        write(in("scene.ka"), text);
        return KFileIO::open(in("scene.ka"));
    }
    /// The scene as text.
    std::string sceneText()
    {
        EXPECT_EQ(KFileIO::saveAs(in("now.ka")), KStatus::kSuccess) << lastError();
        const std::string text = read(in("now.ka"));
        std::filesystem::remove(in("now.ka"));
        return text;
    }
    /// Opens a scene that is given as text; `what` follows the file's name in the one error. Nothing is kept.
    void expectError(const std::string& text, const std::string& what)
    {
        errors.clear();
        EXPECT_EQ(openText(text), KStatus::kFailure) << text;
        ASSERT_EQ(errors.size(), 1u) << text;
        EXPECT_EQ(errors[0], in("scene.ka") + ":" + what);
        EXPECT_EQ(sceneText(), emptySceneText());
    }
    std::string lastError() const { return errors.empty() ? "" : errors.back(); }

    std::filesystem::path folder;
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    std::vector<std::string> infos;
};
