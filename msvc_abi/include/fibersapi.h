#pragma once

// Wine declares the functions of this header in winbase.h.
