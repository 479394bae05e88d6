// The numbers of the program's texts, shared by its resource script, the language file's and
// the code.
#define IDS_GREETING 1
#define IDS_FILES_COPIED 2
