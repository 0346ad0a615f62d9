// The filter of the list of links, without the page.
"use strict";

// All words must be in the address or in the text of the link; case does not count. A word with "*" or "?" is a pattern of
// the whole name at the end of the address, and one with "-" in front must not fit.
function matches(filter, link) {
  const words = filter.toLowerCase().split(/\s+/).filter((word) => word !== "" && word !== "-");
  return words.every((word) => {
    const without = word.startsWith("-");
    return fits(without ? word.slice(1) : word, link) !== without;
  });
}

function fits(word, link) {
  if (!/[*?]/.test(word)) return `${link.url} ${link.words}`.toLowerCase().includes(word);
  const pattern = word.replace(/[.+^${}()|[\]\\]/g, "\\$&").replace(/\*/g, ".*").replace(/\?/g, ".");
  return new RegExp(`^${pattern}$`).test(nameIn(link.url).toLowerCase());
}

function nameIn(url) {
  const name = url.split(/[?#]/)[0].split("/").pop();
  try {
    return decodeURIComponent(name);
  } catch (error) {
    return name;
  }
}

// Checked at first: what has the name of a file, and not of a page.
function looksLikeFile(link) {
  const ending = /\.([a-z0-9]{1,8})$/i.exec(nameIn(link.url));
  return ending !== null && !/^(html?|xhtml|php\d?|aspx?|jsp|cgi)$/i.test(ending[1]);
}
