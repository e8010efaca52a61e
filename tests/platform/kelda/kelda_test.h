#pragma once

#include "kelda/KCommandResult.h"
#include "kelda/KFileIO.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KFnMesh.h"
#include "kelda/KFnSet.h"
#include "kelda/KFnTransform.h"
#include "kelda/KGlobal.h"
#include "kelda/KItDag.h"
#include "kelda/KLibrary.h"
#include "kelda/KMessage.h"
#include "kelda/testing/KFaults.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

inline void PrintTo(const KStatus& status, std::ostream* out)
{
    *out << status.errorString().asUTF8();
}
inline void PrintTo(const KString& text, std::ostream* out)
{
    *out << '"' << text.asUTF8() << '"';
}

/// An empty scene for each test; what the SDK says is kept in `messages`.
class KeldaTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
        ASSERT_EQ(KLibrary::initialize("tests", true), KStatus::kSuccess);
        KMessage::setHandler(keep, this);
        ASSERT_EQ(KFileIO::newFile(true), KStatus::kSuccess);
    }
    void TearDown() override
    {
        KFaults::clear();
        KMessage::setHandler(nullptr);
    }

    /// Runs a script and answers the last result as text; "FAILED" when it fails.
    std::string run(const std::string& script, bool undo = false)
    {
        KCommandResult result;
        if (KGlobal::executeCommand(KString(script), result, false, undo) != KStatus::kSuccess)
            return "FAILED";
        KString text;
        result.getResult(text);
        return text.str();
    }
    /// The error that a script gives; "" when it succeeds.
    std::string errorOf(const std::string& script)
    {
        messages.clear();
        return run(script) == "FAILED" && messages.size() == 1 ? messages[0] : std::string();
    }

    /// An operation is called, once: it fails on demand and otherwise succeeds.
    static void expectFailure(const char* operation, const std::function<KStatus()>& call)
    {
        KFaults::failCall(operation);
        EXPECT_EQ(call(), KStatus::kFailure) << operation;
        EXPECT_EQ(KFaults::calls(operation), 1u) << operation;
        KFaults::clear();
        EXPECT_EQ(call(), KStatus::kSuccess) << operation;
    }

    static KDagPath path(const std::string& fullName)
    {
        for (KItDag it; !it.isDone(); it.next()) {
            KDagPath at;
            it.getPath(at);
            if (at.fullPathName().str() == fullName)
                return at;
        }
        return KDagPath();
    }
    static KObject object(const std::string& fullName) { return path(fullName).node(); }

    static std::vector<std::string> walk(KItDag::TraversalType type = KItDag::kDepthFirst,
                                         KFn::Type filter = KFn::kInvalid)
    {
        std::vector<std::string> names;
        for (KItDag it(type, filter); !it.isDone(); it.next()) {
            KDagPath at;
            it.getPath(at);
            names.push_back(at.fullPathName().str());
        }
        return names;
    }

    /// A strip of n quads in a row below the parent (none: below a transform of its own).
    static KObject makeStrip(int quads, const std::string& name, const KObject& parent = KObject::kNullObj)
    {
        KFloatPointArray points;
        KIntArray counts, connects;
        for (int i = 0; i <= quads; ++i) {
            points.append(KFloatPoint(static_cast<float>(i), 0, 0));
            points.append(KFloatPoint(static_cast<float>(i), 1, 0));
        }
        for (int i = 0; i < quads; ++i) {
            counts.append(4);
            for (int corner : {2 * i, 2 * i + 2, 2 * i + 3, 2 * i + 1})
                connects.append(corner);
        }
        KFnMesh mesh;
        KStatus status;
        mesh.create(2 * quads + 2, quads, points, counts, connects, parent, &status);
        EXPECT_EQ(status, KStatus::kSuccess);
        mesh.setName(KString(name));
        return mesh.object();
    }

    std::vector<std::string> messages;

private:
    static void keep(KMessage::Kind, const char* text, void* self)
    {
        static_cast<KeldaTest*>(self)->messages.push_back(text);
    }
};
