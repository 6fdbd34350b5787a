#include "Platform/Services/TypeTable.h"

#include <QtCore/QString>

#include <algorithm>
#include <array>

namespace KVBase
{

namespace
{

consteval QLatin1StringView operator""_L1(const char *text, std::size_t size)
{
    return QLatin1StringView(text, static_cast<qsizetype>(size));
}

// clang-format off
constexpr std::array kTypes{
    KnownType{"public.item"_L1, {}, {}, {}},
    KnownType{"public.content"_L1, {}, {}, {}},
    KnownType{"public.data"_L1, "public.item"_L1, {}, {}},
    KnownType{"public.directory"_L1, "public.item"_L1, {}, {}},
    KnownType{"public.folder"_L1, "public.directory"_L1, "inode/directory"_L1, {}},
    KnownType{"public.volume"_L1, "public.folder"_L1, "inode/mount-point"_L1, {}},
    KnownType{"public.package"_L1, "public.directory"_L1, {}, {}},
    KnownType{"com.apple.application-bundle"_L1, "public.package public.executable"_L1, {}, "app"_L1},
    KnownType{"public.symlink"_L1, "public.item"_L1, "inode/symlink"_L1, {}},
    KnownType{"public.executable"_L1, "public.item"_L1, {}, {}},
    KnownType{"public.unix-executable"_L1, "public.data public.executable"_L1, "application/x-executable"_L1, {}},
    KnownType{"public.text"_L1, "public.data public.content"_L1, {}, {}},
    KnownType{"public.plain-text"_L1, "public.text"_L1, "text/plain"_L1, "txt"_L1},
    KnownType{"public.rtf"_L1, "public.text"_L1, "application/rtf"_L1, "rtf"_L1},
    KnownType{"public.html"_L1, "public.text"_L1, "text/html"_L1, "html"_L1},
    KnownType{"public.xml"_L1, "public.text"_L1, "application/xml"_L1, "xml"_L1},
    KnownType{"public.xhtml"_L1, "public.xml"_L1, "application/xhtml+xml"_L1, "xhtml"_L1},
    KnownType{"public.json"_L1, "public.text"_L1, "application/json"_L1, "json"_L1},
    KnownType{"public.yaml"_L1, "public.text"_L1, "application/x-yaml"_L1, "yaml"_L1},
    KnownType{"public.css"_L1, "public.text"_L1, "text/css"_L1, "css"_L1},
    KnownType{"public.comma-separated-values-text"_L1, "public.text"_L1, "text/csv"_L1, "csv"_L1},
    KnownType{"public.tab-separated-values-text"_L1, "public.text"_L1, "text/tab-separated-values"_L1, "tsv"_L1},
    KnownType{"public.vcard"_L1, "public.text"_L1, "text/vcard"_L1, "vcf"_L1},
    KnownType{"public.source-code"_L1, "public.plain-text"_L1, {}, {}},
    KnownType{"public.c-source"_L1, "public.source-code"_L1, "text/x-csrc"_L1, "c"_L1},
    KnownType{"public.c-header"_L1, "public.source-code"_L1, "text/x-chdr"_L1, "h"_L1},
    KnownType{"public.c-plus-plus-source"_L1, "public.source-code"_L1, "text/x-c++src"_L1, "cpp"_L1},
    KnownType{"public.c-plus-plus-header"_L1, "public.source-code"_L1, "text/x-c++hdr"_L1, "hpp"_L1},
    KnownType{"public.objective-c-source"_L1, "public.source-code"_L1, "text/x-objcsrc"_L1, "m"_L1},
    KnownType{"com.sun.java-source"_L1, "public.source-code"_L1, "text/x-java"_L1, "java"_L1},
    KnownType{"com.netscape.javascript-source"_L1, "public.source-code"_L1, "application/javascript"_L1, "js"_L1},
    KnownType{"public.script"_L1, "public.source-code"_L1, {}, {}},
    KnownType{"public.shell-script"_L1, "public.script"_L1, "application/x-shellscript"_L1, "sh"_L1},
    KnownType{"public.python-script"_L1, "public.script"_L1, "text/x-python"_L1, "py"_L1},
    KnownType{"public.perl-script"_L1, "public.script"_L1, "application/x-perl"_L1, "pl"_L1},
    KnownType{"public.ruby-script"_L1, "public.script"_L1, "application/x-ruby"_L1, "rb"_L1},
    KnownType{"public.php-script"_L1, "public.script"_L1, "application/x-php"_L1, "php"_L1},
    KnownType{"net.daringfireball.markdown"_L1, "public.plain-text"_L1, "text/markdown"_L1, "md"_L1},
    KnownType{"public.image"_L1, "public.data public.content"_L1, {}, {}},
    KnownType{"public.jpeg"_L1, "public.image"_L1, "image/jpeg"_L1, "jpg"_L1},
    KnownType{"public.png"_L1, "public.image"_L1, "image/png"_L1, "png"_L1},
    KnownType{"com.compuserve.gif"_L1, "public.image"_L1, "image/gif"_L1, "gif"_L1},
    KnownType{"public.tiff"_L1, "public.image"_L1, "image/tiff"_L1, "tiff"_L1},
    KnownType{"com.microsoft.bmp"_L1, "public.image"_L1, "image/bmp"_L1, "bmp"_L1},
    KnownType{"com.microsoft.ico"_L1, "public.image"_L1, "image/vnd.microsoft.icon"_L1, "ico"_L1},
    KnownType{"com.apple.icns"_L1, "public.image"_L1, "image/x-icns"_L1, "icns"_L1},
    KnownType{"public.svg-image"_L1, "public.image public.xml"_L1, "image/svg+xml"_L1, "svg"_L1},
    KnownType{"org.webmproject.webp"_L1, "public.image"_L1, "image/webp"_L1, "webp"_L1},
    KnownType{"public.jpeg-2000"_L1, "public.image"_L1, "image/jp2"_L1, "jp2"_L1},
    KnownType{"public.heic"_L1, "public.image"_L1, "image/heif"_L1, "heic"_L1},
    KnownType{"public.avif"_L1, "public.image"_L1, "image/avif"_L1, "avif"_L1},
    KnownType{"com.ilm.openexr-image"_L1, "public.image"_L1, "image/x-exr"_L1, "exr"_L1},
    KnownType{"com.truevision.tga-image"_L1, "public.image"_L1, "image/x-tga"_L1, "tga"_L1},
    KnownType{"com.adobe.photoshop-image"_L1, "public.image"_L1, "image/vnd.adobe.photoshop"_L1, "psd"_L1},
    KnownType{"public.xbitmap-image"_L1, "public.image"_L1, "image/x-xbitmap"_L1, "xbm"_L1},
    KnownType{"public.pbm"_L1, "public.image"_L1, "image/x-portable-bitmap"_L1, "pbm"_L1},
    KnownType{"public.audiovisual-content"_L1, "public.data public.content"_L1, {}, {}},
    KnownType{"public.movie"_L1, "public.audiovisual-content"_L1, {}, {}},
    KnownType{"public.video"_L1, "public.movie"_L1, {}, {}},
    KnownType{"public.audio"_L1, "public.audiovisual-content"_L1, {}, {}},
    KnownType{"com.apple.quicktime-movie"_L1, "public.movie"_L1, "video/quicktime"_L1, "mov"_L1},
    KnownType{"public.mpeg"_L1, "public.movie"_L1, "video/mpeg"_L1, "mpg"_L1},
    KnownType{"public.mpeg-4"_L1, "public.movie"_L1, "video/mp4"_L1, "mp4"_L1},
    KnownType{"public.mpeg-2-transport-stream"_L1, "public.movie"_L1, "video/mp2t"_L1, "ts"_L1},
    KnownType{"public.3gpp"_L1, "public.movie"_L1, "video/3gpp"_L1, "3gp"_L1},
    KnownType{"public.avi"_L1, "public.movie"_L1, "video/x-msvideo"_L1, "avi"_L1},
    KnownType{"org.webmproject.webm"_L1, "public.movie"_L1, "video/webm"_L1, "webm"_L1},
    KnownType{"org.matroska.mkv"_L1, "public.movie"_L1, "video/x-matroska"_L1, "mkv"_L1},
    KnownType{"public.mp3"_L1, "public.audio"_L1, "audio/mpeg"_L1, "mp3"_L1},
    KnownType{"public.mpeg-4-audio"_L1, "public.audio"_L1, "audio/mp4"_L1, "m4a"_L1},
    KnownType{"public.aiff-audio"_L1, "public.audio"_L1, "audio/x-aiff"_L1, "aiff"_L1},
    KnownType{"com.microsoft.waveform-audio"_L1, "public.audio"_L1, "audio/x-wav"_L1, "wav"_L1},
    KnownType{"public.midi-audio"_L1, "public.audio"_L1, "audio/midi"_L1, "mid"_L1},
    KnownType{"public.ulaw-audio"_L1, "public.audio"_L1, "audio/basic"_L1, "au"_L1},
    KnownType{"org.xiph.flac"_L1, "public.audio"_L1, "audio/flac"_L1, "flac"_L1},
    KnownType{"public.composite-content"_L1, "public.content"_L1, {}, {}},
    KnownType{"com.adobe.pdf"_L1, "public.data public.composite-content"_L1, "application/pdf"_L1, "pdf"_L1},
    KnownType{"com.adobe.postscript"_L1, "public.text"_L1, "application/postscript"_L1, "ps"_L1},
    KnownType{"com.microsoft.word.doc"_L1, "public.data public.composite-content"_L1, "application/msword"_L1, "doc"_L1},
    KnownType{"com.microsoft.excel.xls"_L1, "public.data public.composite-content"_L1, "application/vnd.ms-excel"_L1, "xls"_L1},
    KnownType{"com.microsoft.powerpoint.ppt"_L1, "public.data public.composite-content"_L1, "application/vnd.ms-powerpoint"_L1, "ppt"_L1},
    KnownType{"org.openxmlformats.wordprocessingml.document"_L1, "public.data public.composite-content"_L1, "application/vnd.openxmlformats-officedocument.wordprocessingml.document"_L1, "docx"_L1},
    KnownType{"org.openxmlformats.spreadsheetml.sheet"_L1, "public.data public.composite-content"_L1, "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"_L1, "xlsx"_L1},
    KnownType{"org.openxmlformats.presentationml.presentation"_L1, "public.data public.composite-content"_L1, "application/vnd.openxmlformats-officedocument.presentationml.presentation"_L1, "pptx"_L1},
    KnownType{"org.oasis-open.opendocument.text"_L1, "public.data public.composite-content"_L1, "application/vnd.oasis.opendocument.text"_L1, "odt"_L1},
    KnownType{"org.oasis-open.opendocument.spreadsheet"_L1, "public.data public.composite-content"_L1, "application/vnd.oasis.opendocument.spreadsheet"_L1, "ods"_L1},
    KnownType{"org.oasis-open.opendocument.presentation"_L1, "public.data public.composite-content"_L1, "application/vnd.oasis.opendocument.presentation"_L1, "odp"_L1},
    KnownType{"public.archive"_L1, "public.data"_L1, {}, {}},
    KnownType{"public.zip-archive"_L1, "public.archive"_L1, "application/zip"_L1, "zip"_L1},
    KnownType{"org.gnu.gnu-zip-archive"_L1, "public.archive"_L1, "application/gzip"_L1, "gz"_L1},
    KnownType{"org.gnu.gnu-zip-tar-archive"_L1, "org.gnu.gnu-zip-archive"_L1, "application/x-compressed-tar"_L1, "tgz"_L1},
    KnownType{"public.bzip2-archive"_L1, "public.archive"_L1, "application/x-bzip"_L1, "bz2"_L1},
    KnownType{"public.tar-archive"_L1, "public.archive"_L1, "application/x-tar"_L1, "tar"_L1},
    KnownType{"com.sun.java-archive"_L1, "public.zip-archive"_L1, "application/x-java-archive"_L1, "jar"_L1},
    KnownType{"public.disk-image"_L1, "public.archive"_L1, {}, {}},
    KnownType{"public.iso-image"_L1, "public.disk-image"_L1, "application/x-cd-image"_L1, "iso"_L1},
    KnownType{"public.font"_L1, "public.data"_L1, {}, {}},
    KnownType{"public.truetype-ttf-font"_L1, "public.font"_L1, "font/ttf"_L1, "ttf"_L1},
    KnownType{"public.opentype-font"_L1, "public.font"_L1, "font/otf"_L1, "otf"_L1},
};
// clang-format on

} // namespace

std::span<const KnownType> knownTypes() { return kTypes; }

const KnownType *knownType(QStringView identifier)
{
    const auto found = std::find_if(kTypes.begin(), kTypes.end(), [identifier](const KnownType &type) {
        return identifier.compare(type.identifier, Qt::CaseInsensitive) == 0;
    });
    return found != kTypes.end() ? &*found : nullptr;
}

} // namespace KVBase
