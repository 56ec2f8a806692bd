/**
 * Reads the fragment of a pairing link, `#host=…&token=…` with an optional `&name=…`.
 * Null when it is not one.
 */
export function parsePairLink(fragment) {
  const fields = new URLSearchParams(fragment.replace(/^#/, ''));
  const host = fields.get('host');
  const token = fields.get('token');
  return host && token ? { host, token, name: fields.get('name') ?? '' } : null;
}
