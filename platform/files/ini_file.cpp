#include "platform/files/ini_file.h"

#include <boost/property_tree/ini_parser.hpp>
#include <sstream>

#include "platform/files/file_content.h"

namespace platform {

using boost::property_tree::ini_parser_error;

boost::property_tree::ptree read_ini_file(const std::string& path) {
  std::string content;
  switch (read_regular_file(path.c_str(), content)) {
    case File_Read::DONE:
      break;
    case File_Read::NOT_REGULAR:
      throw ini_parser_error("not a regular file", path, 0);
    case File_Read::FAILED:
      throw ini_parser_error("cannot read file", path, 0);
  }

  return parse_ini(content, path);
}

boost::property_tree::ptree parse_ini(const std::string& content, const std::string& path) {
  std::istringstream text(content);
  text.exceptions(std::ios::badbit);  // where memory runs out: the text would seem to end there
  boost::property_tree::ptree tree;
  try {
    boost::property_tree::ini_parser::read_ini(text, tree);
  } catch (const ini_parser_error& error) {
    throw ini_parser_error(error.message(), path, error.line());
  }
  return tree;
}

}  // namespace platform
