#include "kelda_test.h"

class Command : public KeldaTest
{
};

TEST_F(Command, historyCommandsSucceedOnAnyScene)
{
    for (const char* script :
         {"DeleteAllHistory", "delete -all -constructionHistory", "delete -ch", "flushUndo", ""})
        EXPECT_EQ(run(script), "") << script;
    EXPECT_TRUE(messages.empty());
}

TEST_F(Command, deleteTakesANameInParentheses)
{
    run("createNode transform -n a; createNode transform -n b");
    EXPECT_EQ(run("delete (\"a\")"), "");
    EXPECT_EQ(run("delete ( \"\" + \"b\" )"), "");
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(run("delete (\"a\")"), "FAILED");
}

TEST_F(Command, theWorkingUnitIsALabelWithAFullName)
{
    EXPECT_EQ(run("currentUnit -query -f"), "centimeter");
    const std::pair<const char*, const char*> units[] = {
        {"mm", "millimeter"}, {"cm", "centimeter"}, {"m", "meter"}, {"km", "kilometer"},
        {"in", "inch"},       {"ft", "foot"},       {"yd", "yard"}, {"mi", "mile"}};
    run("createNode transform -n a; setAttr a.translateX 2.5");
    for (const auto& unit : units) {
        EXPECT_EQ(run(std::string("currentUnit -linear \"") + unit.first + "\";"), unit.second);
        EXPECT_EQ(run("currentUnit -query -f"), unit.second);
        EXPECT_EQ(run("currentUnit -query"), unit.first);
        EXPECT_EQ(run(std::string("currentUnit -linear \"") + unit.second + "\";"), unit.second);
    }
    EXPECT_EQ(run("getAttr a.translateX"), "2.5");
    for (const char* bad : {"", "Inch", "MILLIMETER", "furlong", "cm "})
        EXPECT_EQ(run(std::string("currentUnit -linear \"") + bad + "\";"), "FAILED") << bad;
    EXPECT_EQ(run("currentUnit -query -f"), "mile");
    ASSERT_EQ(KFileIO::newFile(true), KStatus::kSuccess);
    EXPECT_EQ(run("currentUnit -query -f"), "centimeter");
}

TEST_F(Command, aShadingNetworkIsBuiltByCommands)
{
    run("createNode lambert -name \"paint\"");
    EXPECT_EQ(run("sets -renderable true -noSurfaceShader true -empty -name \"paintSG\""), "paintSG");
    EXPECT_EQ(run("connectAttr -f ( \"paint.outColor\" ) ( \"paintSG.surfaceShader\")"), "");
    EXPECT_EQ(run("connectAttr paint.outColor paintSG.surfaceShader"), "FAILED");
    EXPECT_EQ(run("connectAttr -f paint.outColor paintSG.surfaceShader"), "");
}

TEST_F(Command, errorsNameThePlace)
{
    run("createNode lambert -n l; createNode transform -n a");
    const std::pair<const char*, const char*> cases[] = {
        {"nonsense", "command:1:1: unknown command \"nonsense\""},
        {"flushUndo;\n  nonsense", "command:2:3: unknown command \"nonsense\""},
        {"delete -frob a", "command:1:8: delete: unknown flag \"-frob\""},
        {"createNode frob", "command:1:12: createNode: unknown node type \"frob\""},
        {"createNode dagNode", "command:1:12: createNode: no node can be made of the type \"dagNode\""},
        {"createNode world", "command:1:12: createNode: no node can be made of the type \"world\""},
        {"createNode", "command:1:1: createNode: too few arguments; usage: createNode <type> [-name <name>] "
                       "[-parent <node>]"},
        {"createNode transform -name", "command:1:22: createNode: flag \"-name\" needs a value"},
        {"rename a b c", "command:1:12: rename: too many arguments; usage: rename <node> <name>"},
        {"rename nobody b", "command:1:8: rename: no object is named \"nobody\""},
        {"setAttr l.outColr 1", "command:1:9: setAttr: node \"l\" has no attribute \"outColr\""},
        {"setAttr l.OUTCOLOR 1",
         "command:1:9: setAttr: node \"l\" has no attribute \"OUTCOLOR\"; did you mean \"outColor\"?"},
        {"setAttr a.translate 1 2", "command:1:9: setAttr: \"translate\" takes 3 values, not 2"},
        {"setAttr a.translateX 1e999", "command:1:22: setAttr: \"1e999\" is not a number"},
        {"setAttr a.translateX 1x", "command:1:22: setAttr: \"1x\" is not a number"},
        {"setAttr a.visibility maybe", "command:1:22: setAttr: \"maybe\" is not true or false"},
        {"delete \"a", "command:1:8: string without a closing quote on its line"},
        {"delete \"a\\q\"", "command:1:10: unknown escape in a string"},
        {"delete (\"a\"", "command:1:8: \"(\" without \")\""},
        {"delete )", "command:1:8: \")\" without \"(\""},
        {"delete ()", "command:1:9: expected a text before \")\""},
        {"delete (\"a\" \"b\")", "command:1:13: expected \"+\" or \")\""},
        {"delete a + b", "command:1:10: \"+\" joins texts inside parentheses only"},
        {"/* no end", "command:1:1: comment without an end"},
        {"delete `ls`", "command:1:8: unexpected '`'"},
        {"\"delete\" a", "command:1:1: expected the name of a command"},
        {"currentUnit", "command:1:1: currentUnit: nothing to set or query"},
        {"delete", "command:1:1: delete: nothing to delete is named"},
        {"parent a", "command:1:1: parent: too few arguments: the parent stands last"},
        {"parent a l", "command:1:10: parent: \"l\" is not a DAG node"},
        {"sets -edit a",
         "command:1:1: sets: \"-edit\" needs \"-forceElement\", \"-addElement\" or \"-remove\""},
        {"sets -e -fe l a", "command:1:13: sets: \"l\" is not a set"},
        {"undo", "command:1:1: undo: there is nothing to undo"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(errorOf(c.first), c.second) << c.first;
}

TEST_F(Command, noCommandReachesOutsideTheScene)
{
    for (const char* name : {"system", "exec", "file", "open", "source", "eval", "python", "fopen", "quit"})
        EXPECT_EQ(run(std::string(name) + " \"x\""), "FAILED") << name;
}

TEST_F(Command, nestingIsLimited)
{
    const auto nested = [](int depth) {
        return "objExists " + std::string(static_cast<size_t>(depth), '(') + "\"a\"" +
               std::string(static_cast<size_t>(depth), ')');
    };
    EXPECT_EQ(run(nested(32)), "0");
    EXPECT_EQ(run(nested(33)), "FAILED");
    EXPECT_EQ(run(nested(1000000)), "FAILED");
}

TEST_F(Command, commentsAndLineEndsPartWords)
{
    EXPECT_EQ(run("// first\r\ncreateNode /* of */ transform // type\n -n\ta ; // done"), "a");
    EXPECT_EQ(run("setAttr a.translate 1 // x\n +2 /* y */ -3e0; getAttr a.translateY"), "2");
    EXPECT_EQ(run("getAttr a.translateZ"), "-3");
}

TEST_F(Command, aFailedStatementEndsTheScriptAndChangesNothingItself)
{
    EXPECT_EQ(run("createNode transform -n a; setAttr a.translate 1 2 nope; createNode transform -n b"),
              "FAILED");
    EXPECT_EQ(run("getAttr a.translateX"), "0");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a"}));
}

TEST_F(Command, whatRanWithUndoIsTakenBackInReverse)
{
    run("createNode transform -n a", true);
    run("setAttr a.translate 1 2 3", true);
    run("rename a b", true);
    run("currentUnit -linear inch", true);
    run("setAttr b.translateX 9"); // without undo: not in the queue
    EXPECT_EQ(run("undo; undo; getAttr a.translateX"), "9");
    EXPECT_EQ(run("currentUnit -q"), "cm");
    EXPECT_EQ(run("undo; getAttr a.translateY"), "0");
    EXPECT_EQ(run("undo"), "");
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(run("undo"), "FAILED");
    run("createNode transform -n a", true);
    EXPECT_EQ(run("flushUndo; undo"), "FAILED");
    run("createNode transform -n c", true);
    KFileIO::newFile(true);
    EXPECT_EQ(run("undo"), "FAILED");
}

TEST_F(Command, connectionsAreTakenBackToo)
{
    run("createNode lambert -n a; createNode lambert -n b; sets -renderable true -nss true -empty -n g;"
        "connectAttr a.outColor g.surfaceShader");
    run("connectAttr -f b.outColor g.surfaceShader", true);
    run("disconnectAttr b.outColor g.surfaceShader", true);
    EXPECT_EQ(run("undo; connectAttr b.outColor g.surfaceShader"), "FAILED"); // is connected again
    EXPECT_EQ(run("undo; connectAttr a.outColor g.surfaceShader"), "FAILED");
    EXPECT_EQ(run("undo"), "FAILED");
}

TEST_F(Command, whatCannotBeTakenBackEndsWhatCouldBe)
{
    for (const char* script :
         {"delete x", "parent x a", "parent -add x a", "sets -edit -addElement g x", "sets -e -rm g x"}) {
        ASSERT_EQ(KFileIO::newFile(true), KStatus::kSuccess);
        run("createNode transform -n a; createNode locator -n x; sets -n g x; setAttr a.translateX 1");
        run("setAttr a.translateX 5", true);
        ASSERT_EQ(run(script, true), "") << script;
        EXPECT_EQ(run("undo"), "FAILED") << script;
        EXPECT_EQ(run("getAttr a.translateX"), "5") << script;
    }
}

TEST_F(Command, editsThroughFunctionSetsAreNotQueued)
{
    KFnTransform transform;
    transform.create();
    transform.findPlug("visibility").setValue(false);
    EXPECT_EQ(run("undo"), "FAILED");
    EXPECT_EQ(run("delete -ch; getAttr transform1.visibility"), "0");
}

TEST_F(Command, helpListsEveryCommandWithItsFlags)
{
    const std::string all = run("help");
    for (const char* name :
         {"connectAttr", "createNode", "currentUnit", "delete", "DeleteAllHistory", "disconnectAttr",
          "flushUndo", "getAttr", "help", "objExists", "parent", "rename", "setAttr", "sets", "undo"}) {
        EXPECT_NE(all.find(std::string(name) + " "), std::string::npos) << name;
        EXPECT_NE(run(std::string("help ") + name), "FAILED") << name;
    }
    EXPECT_NE(run("help sets").find("-forceElement (-fe): set that the members join"), std::string::npos);
    EXPECT_EQ(run("help frob"), "FAILED");
}

TEST_F(Command, resultsHaveTypes)
{
    KCommandResult result;
    ASSERT_EQ(KGlobal::executeCommand("objExists lambert1", result), KStatus::kSuccess);
    int number = 0;
    EXPECT_EQ(result.resultType(), KCommandResult::kInt);
    EXPECT_EQ(result.getResult(number), KStatus::kSuccess);
    EXPECT_EQ(number, 1);
    KStatus status;
    EXPECT_EQ(result.stringResult(&status), KString(""));
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    ASSERT_EQ(KGlobal::executeCommand("currentUnit -query -f", result), KStatus::kSuccess);
    EXPECT_EQ(result.stringResult(&status), KString("centimeter"));
    EXPECT_EQ(result.getResult(number), KStatus::kInvalidParameter);
    ASSERT_EQ(KGlobal::executeCommand("flushUndo", result), KStatus::kSuccess);
    EXPECT_EQ(result.resultType(), KCommandResult::kInvalid);
}

TEST_F(Command, resultsAreShownOnDemand)
{
    ASSERT_EQ(KGlobal::executeCommand("currentUnit -query -f", true), KStatus::kSuccess);
    EXPECT_EQ(messages, (std::vector<std::string>{"Result: centimeter"}));
}

TEST_F(Command, positionsOrderChildren)
{
    run("createNode transform -n p; createNode transform -n a -p p; createNode transform -n b -p p;"
        "createNode transform -n c -p p; parent -position 0 c p; createNode transform -n q; parent -add "
        "-position 1 a q;"
        "createNode transform -n d; parent -position 1 d p");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|p", "|p|c", "|p|d", "|p|a", "|p|b", "|q", "|q|a"}));
    EXPECT_EQ(run("parent -position -1 c p"), "FAILED");
    EXPECT_EQ(run("parent -world d"), "");
    EXPECT_EQ(run("parent -remove a q"), "");
    EXPECT_EQ(run("parent -remove a p"), "FAILED"); // the last parent
    EXPECT_EQ(walk(), (std::vector<std::string>{"|p", "|p|c", "|p|a", "|p|b", "|q", "|d"}));
}
