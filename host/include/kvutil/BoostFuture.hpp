// Boost.Thread futures for the whole tree, with one BOOST_THREAD_VERSION.
//
// boost::future, boost::promise and their shared state change layout and behaviour with
// BOOST_THREAD_VERSION, so every translation unit that touches them must see the same value.
// Include this header instead of <boost/thread/future.hpp>; a different value defined earlier
// (on the command line or by another header) stops the build here rather than at run time.
//
// Version 4 gives boost::future (not unique_future), make_ready_future, continuations and
// futures that do not block in their destructor unless they come from boost::async.
#pragma once

#ifndef BOOST_THREAD_VERSION
#define BOOST_THREAD_VERSION 4
#elif BOOST_THREAD_VERSION != 4
#error "Korvan is built with BOOST_THREAD_VERSION 4; include kvutil/BoostFuture.hpp first"
#endif

#include <boost/thread/future.hpp>
