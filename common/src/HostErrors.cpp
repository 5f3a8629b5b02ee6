// HostErrors.cpp: the two tables of host error texts.
//
// The narrow table is a keyed container built for each lookup, on a failure path only; the wide
// table is a fixed selection over the unsigned code. Texts stand exactly as the host's
// documentation wrote them, oddities included, one row a line.
#include "common/HostErrors.h"

namespace {

constexpr int32_t Signed(uint32_t code) { return static_cast<int32_t>(code); }

}  // namespace

std::map<int32_t, std::string> BuildHostErrorTable() {
    // clang-format off
    return {
        {Signed(0x81060001u), "General error code."},
        {Signed(0x81060002u), "Insufficient memory."},
        {Signed(0x81060003u), "The operation has been canceled by the user[in case of a long process."},
        {Signed(0x81060065u), "The passed identifier is not a valid one[or valid[but not proper for the given operation."},
        {Signed(0x81060066u), "The passed index is out of range."},
        {Signed(0x81060067u), "The passed name is not proper or not found in the existing list."},
        {Signed(0x81060068u), "The passed parameters are inconsistent."},
        {Signed(0x81060069u), "The passed polygon cannot be interpreted."},
        {Signed(0x8106006Au), "The command cannot be executed on the current database."},
        {Signed(0x8106006Bu), "The command cannot be executed while the current window is active."},
        {Signed(0x8106006Cu), "The key code cannot be found in the listing database."},
        {Signed(0x8106006Du), "The passed platform sign is not valid. See ACAPI_ModulData_Store."},
        {Signed(0x8106006Eu), "The plane equation is incorrect."},
        {Signed(0x8106006Fu), "The passed user ID (TeamWork client) is not valid."},
        {Signed(0x81060070u), "The passed autotext value is not valid. See APIAny_SetAnAutoTextID."},
        {Signed(0x81060071u), "The function cannot be applied to the passed element type. See ACAPI_Element_Trim_Elements."},
        {Signed(0x81060072u), "The passed polygon or polyline is irregular. See API_RegularizedPoly."},
        {Signed(0x810600C9u), "There is no 3D information assigned to the passed element."},
        {Signed(0x810600CAu), "No more database items can be returned."},
        {Signed(0x810600CBu), "There is no open project. The operation cannot be executed without an open project."},
        {Signed(0x810600CCu), "No library was loaded. The operation cannot be executed without a loaded library. Can be returned by ACAPI_LibPart_Create."},
        {Signed(0x810600CDu), "The requested LibPart section is not found."},
        {Signed(0x810600CEu), "No selection. The operation cannot be executed without any element selected."},
        {Signed(0x810600CFu), "The referenced element is not editable."},
        {Signed(0x810600D0u), "The specified first library part unique ID does not refer to a subtype of the second unique ID. See APIAny_CheckLibPartSubtypeOfID."},
        {Signed(0x810600D1u), "The main GUID parts of the specified two library part unique IDs are not equal. See APIAny_CompareLibPartUnIdsID."},
        {Signed(0x810600D2u), "The main GUID parts of the specified two library part unique IDs are equal but their revision IDs differ. See APIAny_CompareLibPartUnIdsID."},
        {Signed(0x810600D3u), "There is no open project[or not in Teamwork mode."},
        {Signed(0x810600DCu), "Attempt to get user data assigned to an element[but there isn't any."},
        {Signed(0x810600DDu), "The user data cannot be assigned to the element[since there is no free storage block avaliable."},
        {Signed(0x810600DEu), "The link already exists."},
        {Signed(0x810600DFu), "The link doesn't exist."},
        {Signed(0x810600E0u), "The window to be opened already exists."},
        {Signed(0x810600E1u), "The referenced window does not exist."},
        {Signed(0x810600E2u), "No undoable entry has got into the opened undo operation."},
        {Signed(0x810600E3u), "The reference already exists."},
        {Signed(0x810600E4u), "The resource must have a unique name but the specified one is already taken."},
        {Signed(0x8106012Du), "The attribute already exists."},
        {Signed(0x8106012Eu), "Reference to a deleted[purged or non-existent database item."},
        {Signed(0x8106012Fu), "The referenced layer is locked."},
        {Signed(0x81060130u), "The referenced layer is hidden."},
        {Signed(0x81060131u), "The passed floor index is out of range."},
        {Signed(0x81060132u), "The database item is not in the users workspace."},
        {Signed(0x81060133u), "Can't access / create / modify / delete an item in a teamwork server."},
        {Signed(0x81060134u), "The property for the passed element is not available."},
        {Signed(0x81060135u), "Can't set the classification for the passed element."},
        {Signed(0x81060191u), "The referenced add-on is not installed. For more details see the Communication Manager."},
        {Signed(0x81060192u), "The target add-on is the caller add-on. For more details see the Communication Manager."},
        {Signed(0x81060193u), "The referenced command is not supported by the target add-on. For more details see the Communication Manager."},
        {Signed(0x81060194u), "The requested command version is newer than the version of the command that the target add-on can support. For more details see the Communication Manager."},
        {Signed(0x81060195u), "No custom data section is saved into the project file identified by the add-on's unique ID.See ACAPI_ModulData_Get and ACAPI_ModulData_GetInfo."},
        {Signed(0x810601F5u), "Two or more paragraphs are overlapped. The end offset of one is greater than the beginner offset of the next one."},
        {Signed(0x810601F6u), "Number of paragraphs - the size of paragraphs handle - is zero."},
        {Signed(0x810601F7u), "Paragraph end offset is run over the content length."},
        {Signed(0x810601F8u), "The content string contains line end character (CR) at invalid position (inside the paragraph range)."},
        {Signed(0x810601FEu), "Two or more runs are overlapped. The end offset of one is greater than the beginner offset of the next one."},
        {Signed(0x810601FFu), "Number of runs - the size of run pointer - is zero."},
        {Signed(0x81060200u), "Run end offset is run over the content length."},
        {Signed(0x81060201u), "The beginner offset of one is greater than the end offset of the previous one."},
        {Signed(0x81060202u), "Attempted to overwrite a protected text run (not used yet)."},
        {Signed(0x81060208u), "The EOL array is not a monotonous ascendant sequence."},
        {Signed(0x81060212u), "The tabulator array is not a monotonous ascendant sequence."},
        {Signed(0x81060385u), "The command needs initialization by an other API call."},
        {Signed(0x81060386u), "The API function is not reentrant. Nesting occurred."},
        {Signed(0x81060387u), "The command is not supported by the server application. It is not environment dependent. The server application cannot execute the command generally."},
        {Signed(0x81060388u), "The passed identifier is not subject to the operation."},
        {Signed(0x81060389u), "The command cannot be executed with the passed parameters."},
        {Signed(0x8106038Au), "The specified location is read-only. Can be returned by ACAPI_LibPart_Create."},
        {Signed(0x8106038Bu), "The invoked Teamwork service has failed."},
        {Signed(0x8106038Cu), "The invoked undoable command threw an exception. Can be returned by ACAPI_CallUndoableCommand."},
        {Signed(0x8106038Du), "The called command should be encapsulated in a ACAPI_CallUndoableCommand scope."},
        {Signed(0x810603E9u), "The function is not implemented yet."},
        {Signed(0x810603EAu), "The originating library part file is missing. The document name is still filled."},
    };
    // clang-format on
}

std::string LookupHostError(int32_t code) {
    const std::map<int32_t, std::string> table = BuildHostErrorTable();
    const auto row = table.find(code);
    return row == table.end() ? "Unknown error code." : row->second;
}

WString HostErrorDescription(uint32_t code) {
    // clang-format off
    switch (code) {
    case 0x81060001u: return u"General error code.";
    case 0x81060002u: return u"Insufficient memory.";
    case 0x81060003u: return u"The operation has been canceled by the user, in case of a long process.";
    case 0x81060065u: return u"The passed identifier is not a valid one, or valid, but not proper for the given operation.";
    case 0x81060066u: return u"The passed index is out of range.";
    case 0x81060067u: return u"The passed name is not proper or not found in the existing list.";
    case 0x81060068u: return u"The passed parameters are inconsistent.";
    case 0x81060069u: return u"The passed polygon cannot be interpreted.";
    case 0x8106006Au: return u"The command cannot be executed on the current database.";
    case 0x8106006Bu: return u"The command cannot be executed while the current window is active.";
    case 0x8106006Cu: return u"The key code cannot be found in the listing database.";
    case 0x8106006Du: return u"The passed platform sign is not valid. See ACAPI_ModulData_Store.";
    case 0x8106006Eu: return u"The plane equation is incorrect.";
    case 0x8106006Fu: return u"The passed user ID (TeamWork client) is not valid.";
    case 0x81060070u: return u"The passed autotext value is not valid. See APIAny_SetAnAutoTextID.";
    case 0x81060071u: return u"The function cannot be applied to the passed element type. See ACAPI_Element_Trim_Elements.";
    case 0x81060072u: return u"The passed polygon or polyline is irregular. See API_RegularizedPoly.";
    case 0x810600C9u: return u"There is no 3D information assigned to the passed element.";
    case 0x810600CAu: return u"No more database items can be returned.";
    case 0x810600CBu: return u"There is no open project. The operation cannot be executed without an open project.";
    case 0x810600CCu: return u"No library was loaded. The operation cannot be executed without a loaded library. Can be returned by ACAPI_LibPart_Create.";
    case 0x810600CDu: return u"The requested LibPart section is not found.";
    case 0x810600CEu: return u"No selection. The operation cannot be executed without any element selected.";
    case 0x810600CFu: return u"The referenced element is not editable.";
    case 0x810600D0u: return u"The specified first library part unique ID does not refer to a subtype of the second unique ID. See APIAny_CheckLibPartSubtypeOfID.";
    case 0x810600D1u: return u"The main GUID parts of the specified two library part unique IDs are not equal. See APIAny_CompareLibPartUnIdsID.";
    case 0x810600D2u: return u"The main GUID parts of the specified two library part unique IDs are equal but their revision IDs differ. See APIAny_CompareLibPartUnIdsID.";
    case 0x810600D3u: return u"There is no open project, or not in Teamwork mode.";
    case 0x810600DCu: return u"Attempt to get user data assigned to an element, but there isn't any.";
    case 0x810600DDu: return u"The user data cannot be assigned to the element, since there is no free storage block avaliable.";
    case 0x810600DEu: return u"The link already exists.";
    case 0x810600DFu: return u"The link doesn't exist.";
    case 0x810600E0u: return u"The window to be opened already exists.";
    case 0x810600E1u: return u"The referenced window does not exist.";
    case 0x810600E2u: return u"No undoable entry has got into the opened undo operation.";
    case 0x8106012Du: return u"The attribute already exists.";
    case 0x8106012Eu: return u"Reference to a deleted, purged or non-existent database item.";
    case 0x8106012Fu: return u"The referenced layer is locked.";
    case 0x81060130u: return u"The referenced layer is hidden.";
    case 0x81060131u: return u"The passed floor index is out of range.";
    case 0x81060132u: return u"The database item is not in the user's workspace.";
    case 0x81060191u: return u"The referenced add-on is not installed. For more details see the Communication Manager.";
    case 0x81060192u: return u"The target add-on is the caller add-on. For more details see the Communication Manager.";
    case 0x81060193u: return u"The referenced command is not supported by the target add-on. For more details see the Communication Manager.";
    case 0x81060194u: return u"The requested command version is newer than the version of the command that the target add-on can support. For more details see the Communication Manager.";
    case 0x81060195u: return u"No custom data section is saved into the project file identified by the add-on's unique ID. See ACAPI_ModulData_Get and ACAPI_ModulData_GetInfo.";
    case 0x810601F5u: return u"Two or more paragraphs are overlapped. The end offset of one is greater than the beginner offset of the next one.";
    case 0x810601F6u: return u"Number of paragraphs - the size of paragraphs handle - is zero.";
    case 0x810601F7u: return u"Paragraph end offset is run over the content length.";
    case 0x810601F8u: return u"The content string contains line end character (CR) at invalid position (inside the paragraph range).";
    case 0x810601FEu: return u"Two or more runs are overlapped. The end offset of one is greater than the beginner offset of the next one.";
    case 0x810601FFu: return u"Number of runs - the size of run pointer - is zero.";
    case 0x81060200u: return u"Run end offset is run over the content length.";
    case 0x81060201u: return u"The beginner offset of one is greater than the end offset of the previous one.";
    case 0x81060202u: return u"Attempted to overwrite a protected text run (not used yet).";
    case 0x81060208u: return u"The EOL array is not a monotonous ascendant sequence.";
    case 0x81060212u: return u"The tabulator array is not a monotonous ascendant sequence.";
    case 0x81060259u: return u"Error during parsing the sql query. Can be returned by APIAny_ExecuteSQLQueryID.";
    case 0x8106025Au: return u"Error during executing the sql query. Can be returned by APIAny_ExecuteSQLQueryID.";
    case 0x8106025Bu: return u"Any error during the sql query execution. Can be returned by APIAny_ExecuteSQLQueryID.";
    case 0x81060385u: return u"The command needs initialization by an other API call.";
    case 0x81060386u: return u"The API function is not reentrant. Nesting occurred.";
    case 0x81060387u: return u"The command is not supported by the server application. It is not environment dependent. The server application cannot execute the command generally.";
    case 0x81060388u: return u"The passed identifier is not subject to the operation.";
    case 0x81060389u: return u"The command cannot be executed with the passed parameters.";
    case 0x8106038Au: return u"The specified location is read-only. Can be returned by ACAPI_LibPart_Create.";
    case 0x8106038Bu: return u"The invoked Teamwork service has failed.";
    case 0x8106038Cu: return u"The invoked undoable command threw an exception. Can be returned by ACAPI_CallUndoableCommand.";
    case 0x810603E9u: return u"The function is not implemented yet.";
    case 0x810603EAu: return u"The originating library part file is missing. The document name is still filled.";
    default: return WString();
    }
    // clang-format on
}
