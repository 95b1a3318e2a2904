#pragma once

/// All public families of the library.
///
/// The library logs to the log4cplus logger "LOKATA": the course of searches at level INFO, faults
/// at ERROR, calls at TRACE. A program that has configured nothing when the library is loaded hears
/// nothing: the logger then has the level OFF of its own, so that an appender and a level of the
/// root logger alone do not wake it later. Give "LOKATA" itself a level (`Logger::getInstance`, or
/// a line of its own in the configuration file); its lines then go to its own appenders and the
/// root's.

#include <lokata2/callbacks.h>
#include <lokata2/checksum.h>
#include <lokata2/content_validators.h>
#include <lokata2/context.h>
#include <lokata2/event.h>
#include <lokata2/file_retriever.h>
#include <lokata2/file_search.h>
#include <lokata2/lock.h>
#include <lokata2/messages.h>
#include <lokata2/object.h>
#include <lokata2/persistent_search_dirs.h>
#include <lokata2/search_dir_chain.h>
#include <lokata2/search_dirs.h>
#include <lokata2/search_env.h>
#include <lokata2/search_history.h>
#include <lokata2/search_manipulator.h>
#include <lokata2/search_steps.h>
#include <lokata2/search_types.h>
#include <lokata2/utils.h>
#include <lokata2/validator.h>
#include <lokata2/validator_decorator.h>
#include <lokata2/words.h>
