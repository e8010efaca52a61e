#pragma once

#include "kelda/KApi.h"
#include "kelda/KCommandResult.h"
#include "kelda/KDagPath.h"
#include "kelda/KObject.h"
#include "kelda/KStatus.h"
#include "kelda/KString.h"

class KELDA_API KGlobal
{
public:
    /// Runs a script of the command language. Statements run in order; the first that fails ends the script
    /// (what ran before stays done) and gives kFailure. The error is shown with name, line and column
    /// ("command:1:13: ..."). display: results are shown, too. undo: what the statements do can be taken back
    /// by "undo", until "flushUndo" or a new scene empties the queue; a command that cannot be taken back
    /// (delete, parent, a change of a set's members) empties it as well. Without undo nothing is queued, and
    /// edits through function sets never are.
    static KStatus executeCommand(const KString& command, bool display = false, bool undo = false);
    /// Also gives the result of the last statement.
    static KStatus executeCommand(const KString& command, KCommandResult& result, bool display = false,
                                  bool undo = false);

    /// The only node that a name, or a path or its trailing part ("a|b", "|top|a|b"), stands for. kNotFound
    /// when there is none, kFailure when there are several.
    static KStatus findNode(const KString& name, KObject& node);
    /// The same for DAG nodes; of a node with several instances a plain name gives the first path.
    static KStatus findPath(const KString& name, KDagPath& path);

    /// Hand a text to the message handler (KMessage).
    static void displayError(const KString& text);
    static void displayWarning(const KString& text);
    static void displayInfo(const KString& text);
};
