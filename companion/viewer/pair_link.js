const kAppLink = /^tovalin:\/\/pair\/?\?(.*)$/is;

/**
 * Reads a pairing link: the one in the computer's code, `tovalin://pair?host=…&token=…`, or this
 * page's address with the same fields behind a `#`; both with an optional `&name=…`. A bare fragment
 * will do. Null when it is no such link.
 */
export function parsePairLink(text) {
  const trimmed = text.trim();
  const fields = kAppLink.exec(trimmed)?.[1] ?? afterHash(trimmed);
  if (fields === null) return null;
  const values = new URLSearchParams(fields);
  const host = values.get('host');
  const token = values.get('token');
  return host && token ? { host, token, name: values.get('name') ?? '' } : null;
}

function afterHash(text) {
  const hash = text.indexOf('#');
  return hash < 0 ? null : text.slice(hash + 1);
}
