#include <OpenSG/OSGGraphOp.h>
#include <OpenSG/OSGGraphOpFactory.h>
#include <OpenSG/OSGGraphOpSeq.h>
#include <OpenSG/OSGLog.h>

#include <algorithm>

OSG_BEGIN_NAMESPACE

GraphOp::~GraphOp() = default;

// -- GraphOpFactory ---------------------------------------------------------------------------------

GraphOpFactory& GraphOpFactory::the()
{
    // Never destroyed: operations in static variables of plug-ins leave late.
    static GraphOpFactory* const factory = new GraphOpFactory;
    return *factory;
}

void GraphOpFactory::registerOp(const GraphOp* prototype)
{
    if (prototype != nullptr)
        _ops[prototype->getName()] = prototype;
}

void GraphOpFactory::unRegisterOp(const GraphOp* prototype)
{
    for (auto it = _ops.begin(); it != _ops.end(); ++it) {
        if (it->second == prototype) {
            _ops.erase(it);
            return;
        }
    }
}

GraphOp* GraphOpFactory::create(const Char8* name) const
{
    const auto it = _ops.find(name != nullptr ? name : "");
    return it != _ops.end() ? it->second->create() : nullptr;
}

// -- GraphOpSeq -------------------------------------------------------------------------------------

GraphOpSeq::GraphOpSeq() = default;

GraphOpSeq::GraphOpSeq(const std::string& params)
{
    setGraphOps(params);
}

GraphOpSeq::~GraphOpSeq() = default;

bool GraphOpSeq::run(NodePtr& root)
{
    bool succeeded = true;
    for (const std::unique_ptr<GraphOp>& op : _ops)
        succeeded = op->traverse(root) && succeeded;
    return succeeded;
}

void GraphOpSeq::setGraphOps(const std::string& params)
{
    static const Char8* const blanks = " \t\r\n,";
    clearGraphOps();
    for (std::size_t pos = params.find_first_not_of(blanks); pos != std::string::npos;
         pos = params.find_first_not_of(blanks, pos)) {
        const std::size_t open = std::min(params.find('(', pos), params.size());
        const std::size_t close = std::min(params.find(')', open), params.size());
        std::string name = params.substr(pos, open - pos);
        name.erase(name.find_last_not_of(blanks) + 1);
        GraphOp* const op = GraphOpFactory::the().create(name.c_str());
        if (op != nullptr) {
            if (close > open + 1)
                op->setParams(params.substr(open + 1, close - open - 1));
            addGraphOp(op);
        } else {
            FWARNING(("GraphOpSeq: there is no operation \"%s\".\n", name.c_str()));
        }
        pos = std::min(close + 1, params.size());
    }
}

void GraphOpSeq::addGraphOp(GraphOp* op)
{
    if (op != nullptr)
        _ops.emplace_back(op);
}

void GraphOpSeq::removeGraphOp(GraphOp* op)
{
    _ops.erase(std::remove_if(_ops.begin(), _ops.end(),
                              [op](const std::unique_ptr<GraphOp>& own) { return own.get() == op; }),
               _ops.end());
}

void GraphOpSeq::clearGraphOps()
{
    _ops.clear();
}

GraphOp* GraphOpSeq::getGraphOp(UInt16 i)
{
    return i < _ops.size() ? _ops[i].get() : nullptr;
}

bool GraphOpSeq::setGraphOp(UInt16 i, GraphOp* op)
{
    if (i >= _ops.size() || op == nullptr)
        return false;
    if (_ops[i].get() != op)
        _ops[i].reset(op);
    return true;
}

OSG_END_NAMESPACE
