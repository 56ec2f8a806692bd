// Before everything else, and needing nothing else: the page's modules start all together or not at
// all, and one that a changing network swallowed would leave the page empty for good.
(() => {
  const kPauseMs = 1500;

  async function startAgain() {
    try {
      // Only a server that answers: the browser's own page of regrets would not come back by itself.
      const { ok } = await fetch(location.pathname, { method: 'HEAD', cache: 'no-store' });
      if (ok) return location.reload();
    } catch {
      // Still no way to the server.
    }
    setTimeout(startAgain, kPauseMs);
  }

  let isBroken = false;
  addEventListener(
    'error',
    ({ target }) => {
      if (isBroken || !/^(SCRIPT|LINK)$/.test(target?.tagName)) return;
      isBroken = true;
      document.getElementById('incomplete').hidden = false;
      setTimeout(startAgain, kPauseMs);
    },
    true);
})();
