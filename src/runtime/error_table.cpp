// The table of error numbers (see error_table.h).
#include "runtime/error_table.h"

#include <algorithm>

namespace ravelin {

namespace {

constexpr ErrorInfo kTable[] = {
    // Language level.
    {5, u"Invalid procedure call or argument"},
    {6, u"Overflow"},
    {7, u"Out of memory"},
    {9, u"Subscript out of range"},
    {11, u"Division by zero"},
    {13, u"Type mismatch"},
    {53, u"File not found"},
    {54, u"Bad file mode"},
    {57, u"Device I/O error"},
    {58, u"File already exists"},
    {61, u"Disk full"},
    {70, u"Permission denied"},
    {75, u"Path/File access error"},
    {76, u"Path not found"},
    {91, u"Object variable or With block variable not set"},
    {94, u"Invalid use of Null"},
    {380, u"Invalid property value"},
    {381, u"Invalid property array index"},
    {424, u"Object required"},
    {429, u"ActiveX component can't create object"},
    // The database engine.
    {3000, u"Reserved error; there is no message for this error."},
    {3001, u"Invalid argument."},
    {3011, u"The engine could not find the object."},
    {3020, u"Update or CancelUpdate without AddNew or Edit."},
    {3021, u"No current record."},
    {3022, u"The changes you requested to the table were not successful because they would create duplicate "
           u"values in the index, primary key, or relationship."},
    {3024, u"Could not find file."},
    {3026, u"Not enough space on disk."},
    {3027, u"Cannot update. Database or object is read-only."},
    {3034, u"You tried to commit or rollback a transaction without first beginning a transaction."},
    {3040, u"Disk I/O error during read or write."},
    {3045, u"Could not use the file; file already in use."},
    {3049, u"Cannot open database. It may not be a database, or the file may be corrupt."},
    {3051, u"The engine cannot open the file."},
    {3061, u"Too few parameters."},
    {3065, u"Cannot execute a select query."},
    {3070, u"The engine does not recognize the field name or expression."},
    {3075, u"Syntax error in query expression."},
    {3078, u"The engine cannot find the input table or query."},
    {3079, u"The specified field could refer to more than one table listed in the FROM clause."},
    {3125, u"The name is not a valid name."},
    {3129, u"Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', 'SELECT', or 'UPDATE'."},
    {3142, u"Characters found after end of SQL statement."},
    {3159, u"Not a valid bookmark."},
    {3163, u"The field is too small to accept the amount of data you attempted to add."},
    {3164, u"Field cannot be updated."},
    {3167, u"Record is deleted."},
    {3191, u"Cannot define field more than once."},
    {3204, u"Database already exists."},
    {3219, u"Invalid operation."},
    {3251, u"Operation is not supported for this type of object."},
    {3260, u"Could not update; currently locked by another session on this machine."},
    {3262, u"Could not lock table; currently in use by another session."},
    {3264, u"No field defined--cannot append TableDef or Index."},
    {3265, u"Item not found in this collection."},
    {3283, u"Primary key already exists."},
    {3284, u"Index already exists."},
    {3314, u"The field cannot contain a Null value because its Required property is set to True."},
    {3315, u"Field cannot be a zero-length string."},
    {3343, u"Unrecognized database format."},
    {3349, u"Numeric field overflow."},
    {3367, u"Cannot append. An object with that name already exists in the collection."},
    {3420, u"Object invalid or no longer set."},
    {3421, u"Data type conversion error."},
    {3464, u"Data type mismatch in criteria expression."},
    {3800, u"The name is not an index in this table."},
    // The socket control's.
    {10054, u"The connection is reset by remote side"},
    {10060, u"The attempt to connect timed out"},
    {10061, u"The attempt to connect is forcefully rejected"},
    {11001, u"Authoritative answer: Host not found"},
    // Controls.
    {35601, u"Element not found"},
    {40006, u"Wrong protocol or connection state for the requested transaction or request"},
    {40014, u"The argument passed to a function was not in the correct format or in the specified range"},
    {40080, u"The secure connection could not be set up"},
};

}  // namespace

std::span<const ErrorInfo> ErrorTable() { return kTable; }

const ErrorInfo* FindError(int32_t number) {
  const auto* it = std::lower_bound(std::begin(kTable), std::end(kTable), number,
                                    [](const ErrorInfo& e, int32_t n) { return e.number < n; });
  return it != std::end(kTable) && it->number == number ? it : nullptr;
}

}  // namespace ravelin
