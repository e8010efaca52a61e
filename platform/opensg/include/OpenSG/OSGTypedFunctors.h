#pragma once

#include <OpenSG/OSGConfig.h>

#include <functional>

OSG_BEGIN_NAMESPACE

/// Functors around functions and methods whose first argument is a handle passed by reference.

template <class ResultT, class HandleT>
inline std::function<ResultT(HandleT&)> osgTypedFunctionFunctor1CPtrRef(ResultT (*function)(HandleT&))
{
    return function;
}

template <class ResultT, class HandleT, class ArgT>
inline std::function<ResultT(HandleT&, ArgT)> osgTypedFunctionFunctor2CPtrRef(ResultT (*function)(HandleT&,
                                                                                                  ArgT))
{
    return function;
}

/// The functor does not own \a object, which must outlive it.
template <class ResultT, class ObjectT, class HandleT>
inline std::function<ResultT(HandleT&)>
osgTypedMethodFunctor1ObjPtrCPtrRef(ObjectT* object, ResultT (ObjectT::*method)(HandleT&))
{
    return [object, method](HandleT& handle) { return (object->*method)(handle); };
}

template <class ResultT, class ObjectT, class HandleT, class ArgT>
inline std::function<ResultT(HandleT&, ArgT)>
osgTypedMethodFunctor2ObjPtrCPtrRef(ObjectT* object, ResultT (ObjectT::*method)(HandleT&, ArgT))
{
    return [object, method](HandleT& handle, ArgT arg) { return (object->*method)(handle, arg); };
}

OSG_END_NAMESPACE
