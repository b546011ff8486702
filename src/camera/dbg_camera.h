// Canned camera answers, used instead of the camera while the debug flag
// word asks for them. The answers arrive with the settings operations; until
// then the object holds no data.
#pragma once

class DbgCamera {};
