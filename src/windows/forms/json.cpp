// Boost.JSON, used header-only: its definitions, compiled once for the windows layer.
#include <boost/json/src.hpp>
