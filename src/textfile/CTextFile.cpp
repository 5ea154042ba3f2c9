#include "CTextFile.h"
