// Boost.JSON, header-only, compiled here for the test and benchmark programs.
#include <boost/json/src.hpp>
