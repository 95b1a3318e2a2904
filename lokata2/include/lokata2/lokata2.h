#pragma once

/// All public families of the library.

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
