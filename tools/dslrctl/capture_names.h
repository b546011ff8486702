// The local names of downloaded pictures. A pattern's fields: %f the name
// (the camera's file name without its extension, or captNNNN when the camera
// gives none), %C the extension, %n the session's picture number (%4n: four
// digits), %Y %m %d %H %M %S the picture's time (local), %% a percent sign.
// A pattern that numbers its pictures never reuses a name that is taken:
// the number goes on past every file already there.
#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>

namespace dslrctl {

struct PictureFacts {
    std::string cardName;   // "IMG_0015.JPG"; empty when the camera gives none
    std::string extension;  // used without a card name: "jpg", "rvx"
    std::time_t time = 0;   // when it was taken (UTC)
};

class CaptureNames {
public:
    // An empty pattern: the camera's name, else capt%04n.%C.
    CaptureNames(std::string pattern, std::filesystem::path directory);

    // The path of the next picture. The images of one release (`shot`: its
    // JPEG and RAW) share a number where their names stay free.
    std::filesystem::path next(const PictureFacts& facts, std::uint32_t shot);

private:
    std::string expand(const std::string& pattern, const PictureFacts& facts,
                       unsigned number) const;

    std::string m_pattern;
    std::filesystem::path m_directory;
    unsigned m_number = 0;
    std::uint32_t m_shot = 0;
};

}  // namespace dslrctl
